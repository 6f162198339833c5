#include <cstdlib>
#include <utility>

#include "app/launcher_controller.h"
#include "app/second_start.h"
#include "install/locations.h"
#include "platform/application.h"
#include "platform/bundle.h"
#include "platform/session_bus.h"
#include "platform/single_instance.h"
#include "platform/startup.h"
#include "ui/palette.h"

// The order matters: each step protects the ones after it.
int main(int argc, char **argv) {
  using namespace tarvex;
  settleSignals();
  openMissingStandardDescriptors();
  // Before Qt, which removes the startup tokens from the environment. Children get a full copy.
  LauncherController::Surroundings surroundings{
      {argv, argv + argc}, ownEnvironment(), Bundle::main(), homeFolder()};
  ::setenv("HOME", surroundings.home.c_str(), 1);  // Qt's settings use only $HOME
  neverStartSessionBus();
  SingleInstance instance(instanceName(supportFolder(surroundings.home)));
  if (mayBeSecondStart(surroundings.arguments) && instance.bringOtherForward(ownStartupTokens())) {
    return 0;
  }
  int programAlone = argc > 0 ? 1 : 0;  // hides the arguments from Qt, which would remove its own
  Application application(programAlone, argv);
  styleQt();
  LauncherController controller(application, std::move(surroundings));
  application.setDelegate(controller);
  application.setInstance(instance);
  return application.run();
}
