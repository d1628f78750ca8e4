// The roads that are measured, family by family. Each adds its pairs for a ground.
#ifndef KOLN_BENCH_ROADS_H
#define KOLN_BENCH_ROADS_H

#include "DominoInstance.h"
#include "bench/Pair.h"

namespace bench {

// Where the roads run. Paths are relative to the data directory; on hollow ground nothing is there,
// and any handle does.
struct Site {
  Ground ground;
  KoLNInstance& instance;
  std::string mailbox;
  std::string partition;     // its directory; for what is made while measuring
  std::size_t notes = 20;    // in the mailbox
  std::size_t persons = 10;  // in the directory
};

void addSmallRoads(Pairs& pairs, const Site& site);      // log lines, error records, replica ID
void addNoteRoads(Pairs& pairs, const Site& site);       // notes, attachments, stub links
void addViewRoads(Pairs& pairs, const Site& site);       // index entries, column titles
void addTableRoads(Pairs& pairs, const Site& site);      // ID tables, folders
void addDiscoveryRoads(Pairs& pairs, const Site& site);  // databases and mailboxes
void addDxlRoads(Pairs& pairs, const Site& site);        // DXL streams
void addStartRoads(Pairs& pairs, const Site& site);      // loading and binding

inline void addAllRoads(Pairs& pairs, const Site& site) {
  for (const auto add : {addSmallRoads, addNoteRoads, addViewRoads, addTableRoads,
                         addDiscoveryRoads, addDxlRoads, addStartRoads}) {
    add(pairs, site);
  }
}

}  // namespace bench

#endif
