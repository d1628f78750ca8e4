// The zone of the simulated server.
#ifndef KOLN_SIMULATOR_TIME_ZONE_H
#define KOLN_SIMULATOR_TIME_ZONE_H

namespace simulator {

struct TimeZone {
  int zone;  // Hours west of Greenwich; off the hour as minutes x 100 + hours; east negative.
  int dst;   // 1 while daylight saving holds.
};

// "TimeZone" and "DST" of notes.ini, else the machine's.
TimeZone currentTimeZone();

}  // namespace simulator

#endif
