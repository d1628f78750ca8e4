// Work on one thing after the other, of which each can fail by itself.
#ifndef KOLN_HOST_ONE_BY_ONE_H
#define KOLN_HOST_ONE_BY_ONE_H

#include <cstddef>
#include <functional>

#include "Failure.h"

namespace host {

/// Does the work for 0 to `count` - 1. What fails is told on stderr, and the rest goes on.
/// @return `DoneInPart` if some failed; the code of the last one if all did. @throws Failure when
/// the user interrupts it, and when the result cannot be written.
ExitCode oneByOne(std::size_t count, const char* thing,
                  const std::function<void(std::size_t)>& work);

}  // namespace host

#endif
