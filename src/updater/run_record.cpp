#include "updater/run_record.h"

namespace tarvex {

void RunRecord::apply(const LineEffect &effect) {
  switch (effect.event) {
    case LineEffect::Event::none:
    case LineEffect::Event::clientInstalled:
      break;
    case LineEffect::Event::checkReport:
      checkOutcome = effect.checkOutcome;  // an invalid report clears an earlier valid one
      break;
    case LineEffect::Event::error:
      lastErrorDetail = effect.errorDetail;
      break;
    case LineEffect::Event::launcherInstalled:
      sawLauncherInstalled = true;
      break;
    case LineEffect::Event::gameStarted:
      sawGameStart = true;
      break;
  }
}

}  // namespace tarvex
