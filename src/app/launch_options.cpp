#include "app/launch_options.h"

#include "text/identifiers.h"
#include "text/unicode_text.h"

namespace tarvex {
namespace {

struct ValueOption {
  const char *name;
  IdentifierForm form;
  std::optional<QString> LaunchOptions::*field;
};

struct FlagOption {
  const char *name;
  bool LaunchOptions::*field;
};

constexpr ValueOption valueOptions[] = {
    {"--region", regionIdForm, &LaunchOptions::region},
    {"--relaunched-from", launcherVersionForm, &LaunchOptions::relaunchedFrom},
};

constexpr FlagOption flagOptions[] = {
    {"--continue", &LaunchOptions::automaticContinue},
    {"--no-self-update", &LaunchOptions::noSelfUpdate},
};

}  // namespace

LaunchOptions LaunchOptions::parse(const std::vector<std::string> &arguments) {
  LaunchOptions options;
  for (std::size_t index = 1; index < arguments.size(); ++index) {
    const std::string &argument = arguments[index];
    if (argument == "--") {
      options.gameArguments.assign(arguments.begin() + static_cast<std::ptrdiff_t>(index) + 1,
                                   arguments.end());
      break;
    }
    for (const FlagOption &flag : flagOptions) {
      if (argument == flag.name) {
        options.*flag.field = true;
      }
    }
    for (const ValueOption &option : valueOptions) {
      if (argument == option.name) {
        ++index;  // the next argument is the value, even if it looks like an option
        if (index < arguments.size()) {
          const QString value = decodedUtf8(arguments[index]);
          // An invalid value leaves an earlier valid one.
          if (hasForm(value, option.form)) {
            options.*option.field = value;
          }
        }
        break;
      }
    }
  }
  return options;
}

}  // namespace tarvex
