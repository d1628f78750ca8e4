// What people write and attach, and when: the chance that all documents of a partition share.
#ifndef KOLN_SIMULATOR_SIMULATE_WRITING_H
#define KOLN_SIMULATOR_SIMULATE_WRITING_H

#include <cstdint>
#include <string>
#include <vector>

#include "Dice.h"
#include "NoteMaker.h"
#include "Store.h"

namespace simulator {

inline constexpr std::int64_t Minute = 60;
inline constexpr std::int64_t Day = 1440 * Minute;
inline constexpr std::int64_t Year = 365 * Day;
// Every time of a partition lies before this one, 2024-06-01, whenever it is made.
inline constexpr std::int64_t Present = 1717200000;

// Half of the documents are of the last months, the rest goes back for years.
std::int64_t someTimeAgo(Dice& dice);

// A document that was created, and last changed, at the times given.
NoteHeader documentHeader(std::int64_t created, std::int64_t modified, Dice& dice);

std::string subject(Dice& dice);

// Some paragraphs; a few authors do not find an end, if they are let.
enum class Length { Any, Short };
std::vector<std::string> prose(Dice& dice, Length length = Length::Any);

std::vector<BYTE> randomBytes(std::size_t size, Dice& dice);

// One to three files of up to `largest` bytes.
void attachFiles(NoteMaker& note, Store& store, std::int64_t time, std::int64_t largest,
                 Dice& dice);

}  // namespace simulator

#endif
