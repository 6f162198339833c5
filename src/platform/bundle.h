// Application bundles: folders with a program, its resources and an information dictionary
// (Info.plist), in the layout X/Contents/{Info.plist,Linux,Resources}. Plain functions and values,
// for any thread.
#pragma once

#include <cstddef>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <string>

#include "platform/expected.h"

namespace tarvex {

// Text by key, UTF-8.
using BundleInformation = std::map<std::string, std::string, std::less<>>;

// In bytes; a usual Info.plist has some kilobytes. libplist recurses into nested values without a
// limit, so the size limits its stack.
inline constexpr std::size_t largestInformation = 65536;

// CFBundleExecutable and CFBundleVersion of an information dictionary: a property list, in XML or
// binary form, whose root is a dictionary. Values that are not strings are left out. The XML may be
// in any encoding of Unicode; the file must have at most largestInformation bytes.
Expected<BundleInformation> readInformation(const std::filesystem::path &propertyList);

// The program's folder within a bundle's Contents.
inline constexpr char bundleProgramFolder[] = "Linux";

// The path of the bundle's program. The file need not exist, but Info.plist must name one within
// the bundle.
Expected<std::filesystem::path> programOf(const std::filesystem::path &bundle);

struct Bundle {
  std::filesystem::path path;       // absolute
  std::filesystem::path resources;  // need not exist
  BundleInformation information;    // of Contents/Info.plist
  QString noInformation{};          // the reason when `information` could not be read

  // The bundle of an executable. One at X/Contents/Linux/NAME or X/Contents/MacOS/NAME belongs to
  // the bundle X; any other has its own folder as bundle and as resource folder, and no
  // information.
  static Bundle ofExecutable(const std::filesystem::path &executable);

  // The bundle of the running program. Ask once, at the start: an update may replace the bundle on
  // disk later, which must change neither the launcher's place nor its version.
  static Bundle main();

  // The folder of the resources; absent when it does not exist at this moment.
  std::optional<std::filesystem::path> resourceFolder() const;
};

}  // namespace tarvex
