#include "platform/bundle.h"

#include <plist/plist.h>

#include <system_error>

#include "platform/durable_file.h"

namespace tarvex {

BundleInformation readInformation(const std::filesystem::path &propertyList) {
  // A real one has some kilobytes. libplist follows what is nested by recursion, without a limit.
  constexpr std::size_t largest = 65536;
  BundleInformation texts;
  const std::optional<std::string> bytes = readFile(propertyList);
  plist_t root = nullptr;
  if (bytes && bytes->size() <= largest) {
    plist_from_memory(bytes->data(), static_cast<uint32_t>(bytes->size()), &root);
  }
  if (root != nullptr && plist_get_node_type(root) == PLIST_DICT) {
    // By name: libplist's walk through a dictionary aborts the program at a key with a NUL in it.
    for (const char *key : {"CFBundleExecutable", "CFBundleVersion"}) {
      const plist_t value = plist_dict_get_item(root, key);
      if (value != nullptr && plist_get_node_type(value) == PLIST_STRING) {
        texts.emplace(key, plist_get_string_ptr(value, nullptr));
      }
    }
  }
  plist_free(root);
  return texts;
}

Bundle Bundle::ofExecutable(const std::filesystem::path &executable) {
  const std::filesystem::path folder = executable.parent_path();
  const std::filesystem::path contents = folder.parent_path();
  if (contents.filename() == "Contents" &&
      (folder.filename() == "Linux" || folder.filename() == "MacOS")) {
    return {contents.parent_path(), contents / "Resources",
            readInformation(contents / "Info.plist")};
  }
  return {folder, folder, {}};
}

Bundle Bundle::main() {
  std::error_code ignored;
  return ofExecutable(std::filesystem::read_symlink("/proc/self/exe", ignored));
}

std::optional<std::filesystem::path> Bundle::resourceFolder() const {
  std::error_code ignored;
  if (!std::filesystem::is_directory(resources, ignored)) {
    return std::nullopt;
  }
  return resources;
}

}  // namespace tarvex
