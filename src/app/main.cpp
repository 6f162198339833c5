#include <cstdlib>
#include <utility>

#include "app/launcher_controller.h"
#include "platform/application.h"
#include "platform/bundle.h"
#include "platform/session_bus.h"
#include "platform/startup.h"
#include "ui/palette.h"

int main(int argc, char **argv) {
  using namespace tarvex;
  settleSignals();
  openMissingStandardDescriptors();
  // Before the toolkit, which takes entries out of the environment that it means to have consumed.
  LauncherController::Surroundings surroundings{
      {argv, argv + argc}, ownEnvironment(), Bundle::main(), homeFolder()};
  ::setenv("HOME", surroundings.home.c_str(), 1);  // the only home that the toolkit's settings know
  neverStartSessionBus();
  int programAlone = argc > 0 ? 1 : 0;
  Application application(programAlone, argv);
  dressToolkit();
  LauncherController controller(application, std::move(surroundings));
  application.setDelegate(controller);
  return application.run();
}
