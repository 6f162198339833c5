// Application bundles: folders with a program, its resources, and what it says about itself.
#pragma once

#include <cstddef>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <string>

#include "platform/expected.h"

namespace tarvex {

// Text by key.
using BundleInformation = std::map<std::string, std::string, std::less<>>;

// A real one has some kilobytes. libplist follows what is nested by recursion, without a limit.
inline constexpr std::size_t largestInformation = 65536;

// What an information dictionary says about the program and its version, CFBundleExecutable and
// CFBundleVersion: a property list, in XML or binary form, whose root is a dictionary. Values of
// other types are left out: a number is not a text. The XML may be in any encoding of Unicode; the
// file must have at most largestInformation bytes.
Expected<BundleInformation> readInformation(const std::filesystem::path &propertyList);

// The folder of the program within a bundle's Contents.
inline constexpr char bundleProgramFolder[] = "Linux";

// The program of the bundle at the path, whether or not it is there, unless the bundle has no
// Info.plist that names one within it.
Expected<std::filesystem::path> programOf(const std::filesystem::path &bundle);

struct Bundle {
  std::filesystem::path path;  // absolute
  std::filesystem::path resources;
  BundleInformation information;  // of Contents/Info.plist
  QString noInformation{};        // the reason, when there is none to be had

  // The bundle of an executable. One at X/Contents/Linux/NAME or X/Contents/MacOS/NAME belongs to
  // the bundle X; any other has its own folder as bundle and as resource folder, and no
  // information.
  static Bundle ofExecutable(const std::filesystem::path &executable);

  // The bundle of the running program. To be asked once, at the start: a bundle that is replaced on
  // disk later changes neither our place nor our version.
  static Bundle main();

  // The folder of the resources, or nothing when there is none at this moment.
  std::optional<std::filesystem::path> resourceFolder() const;
};

}  // namespace tarvex
