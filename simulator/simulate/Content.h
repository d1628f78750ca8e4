// What is in the databases of a simulated partition: mail, applications, the directory. All of it
// follows from the seed.
#ifndef KOLN_SIMULATOR_SIMULATE_CONTENT_H
#define KOLN_SIMULATOR_SIMULATE_CONTENT_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "People.h"
#include "Store.h"

namespace simulator {

struct Application {
  const char* path;       // below the data directory
  const char* title;      // UTF-8
  std::uint32_t replica;  // applications with the same number are replicas of each other
  bool isTemplate;
};

const std::vector<Application>& applications();

inline constexpr std::size_t MostAddressBooks = 9;

struct MailPlan {
  unsigned notes = 0;
  unsigned attachments = 20;  // how many of a hundred mails have some
  unsigned folders = 6;       // beside the inbox
};

class ContentMaker {
 public:
  // `people` must outlive the maker.
  ContentMaker(const std::vector<Person>& people, std::uint64_t seed)
      : people_(people), seed_(seed) {}

  // One of the address books over which the people are dealt out in turn.
  Store addressBook(std::size_t book, std::size_t books) const;
  Store application(std::size_t index) const;
  // A mailbox of one of the people, or the archive of it with the oldest notes.
  Store mailbox(std::size_t person, const MailPlan& plan) const;
  Store archive(std::size_t person, const MailPlan& plan) const;

 private:
  const std::vector<Person>& people_;
  std::uint64_t seed_;
};

}  // namespace simulator

#endif
