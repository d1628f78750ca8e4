// Compiling a formula, of which the library wants the result alone: where a text is wrong, the status
// says enough.
#ifndef KOLN_PLATFORM_FORMULA_COMPILE_H
#define KOLN_PLATFORM_FORMULA_COMPILE_H

#include <string_view>

#include "platform/NotesCall.h"

namespace koln {

// On success `formula` is the caller's to free. The text may have 65,535 bytes at most.
inline CallResult compileFormula(std::string_view text, FORMULAHANDLE& formula, WORD& length) {
  STATUS compileError = NOERROR;
  WORD line = 0;
  WORD column = 0;
  WORD offset = 0;
  WORD errorLength = 0;
  return KOLN_STATUS(NSFFormulaCompile, nullptr, WORD{0}, text.data(),
                     static_cast<WORD>(text.size()), &formula, &length, &compileError, &line,
                     &column, &offset, &errorLength);
}

}  // namespace koln

#endif
