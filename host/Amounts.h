// Ages and sizes as a user writes and reads them.
#ifndef KOLN_HOST_AMOUNTS_H
#define KOLN_HOST_AMOUNTS_H

#include <cstdint>
#include <string>

namespace host {

/// "90d", "12w", "6m" (months of 30 days) or "2y" (years of 365 days) in seconds. @throws Failure
std::uint64_t secondsFromAge(const std::string& text);

/// "100K", "5M", "1G" or plain bytes. @throws Failure
std::uint64_t bytesFromSize(const std::string& text);

/// "812 bytes", "1.2 MiB".
std::string shortSize(std::uint64_t bytes);

/// The same, with the exact number in front where the size is rounded.
std::string readableSize(std::uint64_t bytes);

/// "3 notes", "1 note".
std::string counted(std::uint64_t number, const char* thing);

}  // namespace host

#endif
