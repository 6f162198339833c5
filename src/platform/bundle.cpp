#include "platform/bundle.h"

#include <plist/plist.h>

#include <QStringDecoder>
#include <cstdint>
#include <memory>
#include <string_view>
#include <system_error>

#include "platform/durable_file.h"

namespace tarvex {
namespace {

// Whether a path with this name appended stays within its folder.
bool isFileName(const std::string &name) {
  return !name.empty() && name != "." && name != ".." && name.find('/') == std::string::npos;
}

// Converts to UTF-8 without a byte order mark, the only form that libplist reads.
std::string withXmlInUtf8(const std::string &list) {
  const auto encoding = QStringConverter::encodingForData(list, u'<');
  return encoding ? QString(QStringDecoder(*encoding)(list)).toStdString() : list;
}

}  // namespace

Expected<BundleInformation> readInformation(const std::filesystem::path &propertyList) {
  const Expected<std::string> bytes = readFile(propertyList, largestInformation);
  if (!bytes) {
    return Unexpected{bytes.reason()};
  }
  const std::string list = withXmlInUtf8(*bytes);
  const auto length = static_cast<std::uint32_t>(list.size());
  // Not plist_from_memory: newer versions of libplist accept more formats there.
  const auto parse = plist_is_binary(list.data(), length) != 0 ? plist_from_bin : plist_from_xml;
  plist_t root = nullptr;
  parse(list.data(), length, &root);
  const std::unique_ptr<void, decltype(&plist_free)> owner(root, plist_free);
  if (root == nullptr || plist_get_node_type(root) != PLIST_DICT) {
    return Unexpected{QStringLiteral("not a property list with a dictionary")};
  }
  BundleInformation texts;
  // Not by iteration: libplist's iterator aborts the program at a key that contains a NUL.
  for (const char *key : {"CFBundleExecutable", "CFBundleVersion"}) {
    const plist_t value = plist_dict_get_item(root, key);
    if (value != nullptr && plist_get_node_type(value) == PLIST_STRING) {
      std::uint64_t size = 0;
      const std::string_view text = plist_get_string_ptr(value, &size);
      if (text.size() == size) {  // no NUL in it
        texts.emplace(key, text);
      }
    }
  }
  return texts;
}

Expected<std::filesystem::path> programOf(const std::filesystem::path &bundle) {
  const Expected<BundleInformation> information = readInformation(bundle / "Contents/Info.plist");
  if (!information) {
    return Unexpected{u"Contents/Info.plist: " + information.reason()};
  }
  const auto name = information->find("CFBundleExecutable");
  if (name == information->end() || !isFileName(name->second)) {
    return Unexpected{
        QStringLiteral("Contents/Info.plist: no CFBundleExecutable that names a file")};
  }
  return bundle / "Contents" / bundleProgramFolder / name->second;
}

Bundle Bundle::ofExecutable(const std::filesystem::path &executable) {
  const std::filesystem::path folder = executable.parent_path();
  const std::filesystem::path contents = folder.parent_path();
  if (contents.filename() == "Contents" &&
      (folder.filename() == "Linux" || folder.filename() == "MacOS")) {
    const auto information = readInformation(contents / "Info.plist");
    return {contents.parent_path(), contents / "Resources", information.value_or({}),
            information.reason()};
  }
  return {folder, folder, {}, QStringLiteral("the program lies in no bundle")};
}

Bundle Bundle::main() {
  std::error_code ignored;
  // Not argument 0, which the parent process may choose.
  return ofExecutable(std::filesystem::read_symlink("/proc/self/exe", ignored));
}

std::optional<std::filesystem::path> Bundle::resourceFolder() const {
  // If access is denied, assume that the folder exists. Its files are then reported as unreadable.
  std::error_code ignored;
  const std::filesystem::file_type type = std::filesystem::status(resources, ignored).type();
  const bool isThere =
      type == std::filesystem::file_type::directory || type == std::filesystem::file_type::none;
  return isThere ? std::optional(resources) : std::nullopt;
}

}  // namespace tarvex
