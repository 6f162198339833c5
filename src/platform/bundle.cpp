#include "platform/bundle.h"

#include <plist/plist.h>

#include <cstdlib>
#include <system_error>

#include "platform/durable_file.h"

namespace tarvex {
BundleInformation readInformation(const std::filesystem::path &propertyList) {
  BundleInformation texts;
  const std::optional<std::string> bytes = readFile(propertyList);
  plist_t root = nullptr;
  if (bytes) {
    plist_from_memory(bytes->data(), static_cast<uint32_t>(bytes->size()), &root);
  }
  if (root != nullptr && plist_get_node_type(root) == PLIST_DICT) {
    plist_dict_iter iterator = nullptr;
    plist_dict_new_iter(root, &iterator);
    char *key = nullptr;
    plist_t value = nullptr;
    for (plist_dict_next_item(root, iterator, &key, &value); value != nullptr;
         plist_dict_next_item(root, iterator, &key, &value)) {
      if (plist_get_node_type(value) == PLIST_STRING) {
        texts.emplace(key, plist_get_string_ptr(value, nullptr));
      }
      std::free(key);
    }
    std::free(iterator);
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
