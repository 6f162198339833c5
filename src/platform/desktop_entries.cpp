#include "platform/desktop_entries.h"

#include <QStandardPaths>
#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <map>
#include <optional>
#include <set>
#include <string_view>
#include <utility>

#include "platform/durable_file.h"
#include "platform/startup.h"

namespace tarvex {
namespace {

using Group = std::map<std::string, std::string, std::less<>>;
using KeyFile = std::map<std::string, Group, std::less<>>;

// In bytes. The cache of a desktop with thousands of applications has some hundred kilobytes.
constexpr std::size_t largestKeyFile = 4'194'304;

// The parts between separators, without empty ones.
std::vector<std::string> split(std::string_view text, char separator) {
  std::vector<std::string> parts;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find(separator), text.size());
    if (end > 0) {
      parts.emplace_back(text.substr(0, end));
    }
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return parts;
}

std::string_view trimmed(std::string_view text) {
  constexpr std::string_view spaces = " \t\r";
  text.remove_prefix(std::min(text.find_first_not_of(spaces), text.size()));
  text.remove_suffix(text.size() - (text.find_last_not_of(spaces) + 1));
  return text;
}

// Of several entries with the same key, the first one counts: emplace keeps it.
KeyFile readKeyFile(const std::filesystem::path &path) {
  KeyFile file;
  Group *group = nullptr;
  for (const std::string &whole : split(readFile(path, largestKeyFile).value_or(""), '\n')) {
    const std::string_view line = trimmed(whole);
    const std::size_t equals = line.find('=');
    if (line.starts_with('[') && line.ends_with(']')) {
      group = &file[std::string(line.substr(1, line.size() - 2))];
    } else if (group != nullptr && !line.starts_with('#') && equals != std::string_view::npos) {
      group->emplace(trimmed(line.substr(0, equals)), trimmed(line.substr(equals + 1)));
    }
  }
  return file;
}

std::string valueOf(const KeyFile &file, std::string_view group, std::string_view key) {
  const auto found = file.find(group);
  if (found == file.end()) {
    return {};
  }
  const auto entry = found->second.find(key);
  return entry != found->second.end() ? entry->second : std::string();
}

std::string programAt(const std::string &nameOrPath) {
  return QStandardPaths::findExecutable(QString::fromStdString(nameOrPath)).toStdString();
}

// Resolves the escapes that all string values have.
std::string unescaped(std::string_view text) {
  constexpr std::string_view codes = "sntr\\";
  constexpr std::string_view meanings = " \n\t\r\\";
  std::string result;
  for (std::size_t at = 0; at < text.size(); ++at) {
    const std::size_t code = text[at] == '\\' && at + 1 < text.size() ? codes.find(text[at + 1])
                                                                      : std::string_view::npos;
    if (code == std::string_view::npos) {
      result += text[at];
    } else {
      result += meanings[code];
      ++at;
    }
  }
  return result;
}

// The words of an Exec line, with quotes removed and field codes replaced. Unknown and deprecated
// codes are dropped. A line without a code for files gets the file as its last word.
std::vector<std::string> wordsOf(std::string_view exec, const std::map<char, std::string> &codes) {
  std::vector<std::string> words;
  std::optional<std::string> word;
  bool isQuoted = false;
  bool takesFile = false;
  for (std::size_t at = 0; at < exec.size(); ++at) {
    const char here = exec[at];
    const bool hasNext = at + 1 < exec.size();
    if (here == '"') {
      isQuoted = !isQuoted;
      word = word.value_or("");
    } else if (here == '\\' && isQuoted && hasNext) {
      word = word.value_or("") + exec[++at];
    } else if (here == ' ' && !isQuoted) {
      if (word) {
        words.push_back(*std::exchange(word, std::nullopt));
      }
    } else if (here == '%' && hasNext) {
      const char code = exec[++at];
      takesFile = takesFile || std::string_view("fFuU").find(code) != std::string_view::npos;
      if (const auto meaning = codes.find(code); meaning != codes.end()) {
        word = word.value_or("") + meaning->second;
      }
    } else {
      word = word.value_or("") + here;
    }
  }
  if (word) {
    words.push_back(*word);
  }
  if (!takesFile) {
    words.push_back(codes.at('f'));
  }
  return words;
}

// A desktop file ID "a-b.desktop" may mean the file a/b.desktop.
std::optional<std::filesystem::path> findEntry(std::string id, const DesktopFolders &folders) {
  std::size_t dash = 0;
  while (dash != std::string::npos) {
    for (const std::filesystem::path &folder : folders.data) {
      const std::filesystem::path path = folder / "applications" / id;
      if (!whyUnreadable(path)) {
        return path;
      }
    }
    dash = id.find('-');
    if (dash != std::string::npos) {
      id[dash] = '/';
    }
  }
  return std::nullopt;
}

std::vector<std::string> commandOf(const std::string &id, const std::filesystem::path &file,
                                   const DesktopFolders &folders) {
  const auto path = findEntry(id, folders);
  if (!path) {
    return {};
  }
  const KeyFile entry = readKeyFile(*path);
  const auto value = [&entry](std::string_view key) {
    return unescaped(valueOf(entry, "Desktop Entry", key));
  };
  const std::string needed = value("TryExec");
  // Hidden means deleted. TryExec names a program without which the entry is not valid.
  const bool isUsable = value("Hidden") != "true" && value("Terminal") != "true" &&
                        !value("Exec").empty() && (needed.empty() || !programAt(needed).empty());
  if (!isUsable) {
    return {};
  }
  const std::string url = fileUrl(file);
  std::vector<std::string> words = wordsOf(value("Exec"), {{'f', file},
                                                           {'F', file},
                                                           {'u', url},
                                                           {'U', url},
                                                           {'c', value("Name")},
                                                           {'k', *path},
                                                           {'%', "%"}});
  words[0] = programAt(words[0]);  // spawn has no search path
  return words[0].empty() ? std::vector<std::string>() : words;
}

// The mimeapps.list files in the order of their priority. A file for one desktop comes before the
// general one of the same folder.
std::vector<KeyFile> associations(const DesktopFolders &folders) {
  std::vector<std::filesystem::path> places = folders.configuration;
  for (const std::filesystem::path &folder : folders.data) {
    places.push_back(folder / "applications");
  }
  std::vector<KeyFile> files;
  for (const std::filesystem::path &place : places) {
    for (const std::string &desktop : folders.desktops) {
      files.push_back(readKeyFile(place / (desktop + "-mimeapps.list")));
    }
    files.push_back(readKeyFile(place / "mimeapps.list"));
  }
  return files;
}

}  // namespace

// Not with QStandardPaths, which cannot represent a home folder whose name is not UTF-8.
DesktopFolders DesktopFolders::ofThisProcess() {
  const auto variable = [](const char *name, const std::string &otherwise) {
    const char *const value = std::getenv(name);
    return value != nullptr && *value != '\0' ? std::string(value) : otherwise;
  };
  const auto places = [](const std::filesystem::path &own, const std::string &others) {
    std::vector<std::filesystem::path> result{own};
    for (const std::string &other : split(others, ':')) {
      result.emplace_back(other);
    }
    // The Base Directory Specification: relative paths are invalid and must be ignored.
    std::erase_if(result, [](const auto &place) { return place.is_relative(); });
    return result;
  };
  const std::filesystem::path home = homeFolder();
  return {places(variable("XDG_CONFIG_HOME", home / ".config"),
                 variable("XDG_CONFIG_DIRS", "/etc/xdg")),
          places(variable("XDG_DATA_HOME", home / ".local/share"),
                 variable("XDG_DATA_DIRS", "/usr/local/share:/usr/share")),
          split(qgetenv("XDG_CURRENT_DESKTOP").toLower().toStdString(), ':')};
}

std::string fileUrl(const std::filesystem::path &file) {
  const QByteArray path = QByteArray::fromStdString(file);
  return "file://" + path.toPercentEncoding("/").toStdString();
}

std::vector<std::vector<std::string>> commandsToShow(const std::filesystem::path &file,
                                                     const std::vector<std::string> &mimeTypes,
                                                     const DesktopFolders &folders) {
  const std::vector<KeyFile> files = associations(folders);
  std::vector<KeyFile> caches;
  for (const std::filesystem::path &folder : folders.data) {
    caches.push_back(readKeyFile(folder / "applications/mimeinfo.cache"));
  }
  std::vector<std::string> ids;
  const auto add = [&ids](const std::vector<KeyFile> &from, std::string_view group,
                          std::string_view type) {
    for (const KeyFile &one : from) {
      for (std::string &id : split(valueOf(one, group, type), ';')) {
        ids.push_back(std::move(id));
      }
    }
  };
  for (const std::string &type : mimeTypes) {
    add(files, "Default Applications", type);
  }
  for (const std::string &type : mimeTypes) {
    add(files, "Added Associations", type);
    add(caches, "MIME Cache", type);
  }
  std::vector<std::vector<std::string>> commands;
  std::set<std::string> seen;
  for (const std::string &id : ids) {
    if (seen.insert(id).second) {
      if (std::vector<std::string> command = commandOf(id, file, folders); !command.empty()) {
        commands.push_back(std::move(command));
      }
    }
  }
  return commands;
}

}  // namespace tarvex
