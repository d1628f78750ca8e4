// The views and folders of mailboxes and applications.
#ifndef KOLN_SIMULATOR_SIMULATE_VIEWS_H
#define KOLN_SIMULATOR_SIMULATE_VIEWS_H

#include <vector>

#include "Dice.h"
#include "Store.h"

namespace simulator {

// All documents, all by recipient, the inbox with most of the notes, and further folders, most of
// them nested, with some.
void writeMailViews(Store& store, const std::vector<NOTEID>& notes, unsigned folders, Dice& dice);

// All documents, and all by category.
void writeApplicationViews(Store& store, Dice& dice);

}  // namespace simulator

#endif
