// Counts what operator new hands out in this process, the library's share included.
#ifndef KOLN_BENCH_ALLOCATIONS_H
#define KOLN_BENCH_ALLOCATIONS_H

#include <cstddef>

namespace bench {

std::size_t allocations() noexcept;  // since the start

}  // namespace bench

#endif
