// How the library's own sources write a log line.
//
// Every source sets `sourceName` once, the name its lines carry; all files of one public header
// share that header's name. The macro asks for a sink before the arguments are even evaluated, so
// that a line nobody reads costs one test and a branch.
#ifndef KOLN_PLATFORM_LOG_H
#define KOLN_PLATFORM_LOG_H

#include "findDataPartition.h"

#define KOLN_LOG(function, level, ...)                                \
  do {                                                                \
    if (__builtin_expect(pLogCallback != nullptr, 0)) {               \
      LogMessage(function, level, sourceName, __LINE__, __VA_ARGS__); \
    }                                                                 \
  } while (false)

#endif
