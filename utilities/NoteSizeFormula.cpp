// The formula that measures notes: compiled and started once, kept locked while it runs.
#include "NotesUtilities.h"
#include "platform/FormulaCompile.h"
#include "platform/NotesCall.h"

namespace {

void unlockAndFree(FORMULAHANDLE formula) noexcept {
  static_cast<void>(KOLN_VALUE(BOOL{FALSE}, OSUnlockObject, formula));
  static_cast<void>(KOLN_STATUS(OSMemFree, formula).failed());
}

}  // namespace

KoLNError KoLNUtilities::InitializeFormulaComputation() {
  return koln::recorded([this](KoLNError& error) {
    if (computation_ != nullptr || formula_ != NULLHANDLE) {
      error.SetCustomMessage("Formula already initialized");
      return;
    }
    FORMULAHANDLE formula = NULLHANDLE;
    WORD length = 0;
    const koln::CallResult compiled = koln::compileFormula("@DocLength", formula, length);
    if (compiled.failed()) {
      compiled.record(error);
      return;
    }
    // Kept even where the start fails and it is freed: a second try is refused, on purpose.
    formula_ = formula;

    // Notes reads the formula while it computes, so it stays locked until the shutdown.
    void* address = nullptr;
    if (formula != NULLHANDLE) {
      static_cast<void>(KOLN_INTO(address, OSLockObject, formula).failed());
    }
    if (address == nullptr) {
      error.SetCustomMessage("The note size formula could not be locked.");
      if (formula != NULLHANDLE) {
        static_cast<void>(KOLN_STATUS(OSMemFree, formula).failed());
      }
      return;
    }
    HCOMPUTE computation = nullptr;
    const koln::CallResult started = KOLN_STATUS(NSFComputeStart, WORD{0}, address, &computation);
    if (started.failed() || computation == nullptr) {
      if (started.failed()) {
        started.record(error);
      } else {
        error.SetCustomMessage("The note size computation was not started.");
      }
      unlockAndFree(formula);
      return;
    }
    computation_ = computation;
  });
}

KoLNError KoLNUtilities::ShutdownFormulaComputation() {
  return koln::recorded([this](KoLNError& error) {
    if (computation_ == nullptr || formula_ == NULLHANDLE || formulaReleased_) {
      error.SetCustomMessage("Note Size Formula is not initialized");
      return;
    }
    // The handles keep their values, which refuses another initialisation; this keeps a second
    // shutdown from freeing them again.
    formulaReleased_ = true;
    unlockAndFree(formula_);
    const koln::CallResult stopped = KOLN_STATUS(NSFComputeStop, computation_);
    if (stopped.failed()) {
      stopped.record(error);
    }
  });
}

HCOMPUTE KoLNUtilities::GetSizeFormulaHandle() {
  return computation_;
}
