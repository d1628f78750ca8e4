// A simulated partition on disk: the data directory and the configuration store that leads a host
// to it.
#ifndef KOLN_SIMULATOR_SIMULATE_PARTITION_H
#define KOLN_SIMULATOR_SIMULATE_PARTITION_H

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>

namespace simulator {

// A failure in words for the person who runs the tool.
class PartitionError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct PartitionPlan {
  std::filesystem::path directory;
  unsigned mailboxes = 0;
  std::optional<unsigned> people;  // in the directory; not fewer than mailboxes
  unsigned departments = 1;
  unsigned addressBooks = 1;
  unsigned notes = 0;         // in each mailbox
  unsigned attachments = 20;  // how many of a hundred mails have some
  unsigned folders = 6;       // in each mailbox, beside the inbox
  std::uint64_t seed = 1;
  std::string user;            // who runs the partition; must exist
  std::filesystem::path home;  // holds notes/latest/linux/libnotes.so
  bool replace = false;
};

struct PartitionSummary {
  std::filesystem::path data;
  std::filesystem::path registry;
  std::size_t people = 0;
  std::map<std::string, std::size_t> departments;  // and how many people each of them has
  std::size_t addressBooks = 0;
  std::size_t mailboxes = 0;
  std::size_t archives = 0;
  std::size_t applications = 0;
};

// Called as the work goes on: databases written, databases in all.
using Progress = std::function<void(std::size_t, std::size_t)>;

// PartitionError if it cannot be made. The configuration store is written last: a directory without
// one is not complete.
PartitionSummary createPartition(const PartitionPlan& plan, const Progress& progress);

}  // namespace simulator

#endif
