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

int main(int argc, char **argv) {
  using namespace tarvex;
  settleSignals();
  openMissingStandardDescriptors();
  // Before Qt, which takes entries out of the environment that it means to have consumed.
  LauncherController::Surroundings surroundings{
      {argv, argv + argc}, ownEnvironment(), Bundle::main(), homeFolder()};
  ::setenv("HOME", surroundings.home.c_str(), 1);  // the only home that Qt's settings know
  neverStartSessionBus();
  SingleInstance instance(instanceName(supportFolder(surroundings.home)));
  if (mayBeSecondStart(surroundings.arguments) && instance.bringOtherForward(ownStartupTokens())) {
    return 0;
  }
  int programAlone = argc > 0 ? 1 : 0;
  Application application(programAlone, argv);
  dressToolkit();
  LauncherController controller(application, std::move(surroundings));
  application.setDelegate(controller);
  application.setInstance(instance);
  return application.run();
}
