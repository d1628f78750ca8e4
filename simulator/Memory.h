// Memory that a host holds by handle: what it allocates itself, what functions give back in that
// form, and ID tables, which are a kind of their own in the same range of numbers.
#ifndef KOLN_SIMULATOR_MEMORY_H
#define KOLN_SIMULATOR_MEMORY_H

#include <cstddef>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "NotesApi.h"

namespace simulator {

// A block with a copy of the bytes, for results that the caller frees with OSMemFree. 0 if `size`
// is 0 or memory runs out.
DHANDLE allocateBytes(const void* data, std::size_t size);

// A block of these very bytes, for results that are too large to be copied. They live as long as
// the block, or as others keep them. 0 if there are no handles left or if `size` is 0 or no DWORD.
DHANDLE adoptBytes(std::shared_ptr<BYTE[]> bytes, std::size_t size);

// A block that a host may lock but not free, for what belongs to a note; does not count as memory
// of the host. 0 if there are no handles left or if `size` is 0 or no DWORD.
DHANDLE lendBytes(std::shared_ptr<BYTE[]> bytes, std::size_t size);
// Ends what lendBytes has begun. Ends the process if the host still has the block locked.
void takeBackBytes(DHANDLE handle, const char* function);

// The bytes from the address to the end of the locked block that it is in; nothing if it is in
// none.
std::optional<std::span<const BYTE>> lockedBytesFrom(const void* address);

// A copy of a block that a host passes to `function`; nothing if it is locked, which these
// functions do not allow. Ends the process if the handle is no block.
std::optional<std::vector<BYTE>> unlockedBytes(DHANDLE handle, const char* function);

}  // namespace simulator

#endif
