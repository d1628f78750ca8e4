// The mail of one person, in the variety that archiving meets: plain, sealed and MIME bodies,
// attachments, all types of items, what is read and what is not.
#ifndef KOLN_SIMULATOR_SIMULATE_MAIL_H
#define KOLN_SIMULATOR_SIMULATE_MAIL_H

#include <cstdint>
#include <vector>

#include "Dice.h"
#include "People.h"
#include "Store.h"

namespace simulator {

// One mail for each time of posting, in the order of time; `attachments`: how many of a hundred
// have some. One of them has an item of each type that is in common use. Their IDs come back.
std::vector<NOTEID> writeMail(Store& store, const std::vector<Person>& people, const Person& owner,
                              std::vector<std::int64_t> times, unsigned attachments, Dice& dice);

// The owner's settings.
void writeMailProfile(Store& store, const Person& owner, Dice& dice);

// Leaves about a sixth of the notes unread, the newer ones rather than the older; under the name
// that the runtime completes from the database's title.
void markUnread(Store& store, const std::vector<NOTEID>& notes, Dice& dice);

}  // namespace simulator

#endif
