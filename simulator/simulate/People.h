// The people of a simulated organisation: what the directory says of them and what they call their
// mailboxes. Names come in many scripts, because hosts must cope with them.
#ifndef KOLN_SIMULATOR_SIMULATE_PEOPLE_H
#define KOLN_SIMULATOR_SIMULATE_PEOPLE_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace simulator {

inline constexpr const char* Organisation = "Example";
inline constexpr const char* MailServer = "CN=sim01/O=Example";
inline constexpr const char* MailDomain = "EXAMPLE";

// The forms that "MailFile" has in directories; every one but the first is without a mailbox.
enum class MailFileForm { Text, Absent, List, Number };

struct Person {
  std::string firstName;
  std::string lastName;
  std::string shortName;  // ASCII, unique
  std::string department;
  MailFileForm mailFileForm = MailFileForm::Text;
  // Path of the mail file below the data directory, if the directory tells one. Only the owners of
  // the mailboxes have the file too.
  std::string mailbox;

  // As people write it; unique.
  std::string commonName() const { return firstName + " " + lastName; }
  std::string canonicalName() const {
    return "CN=" + commonName() + "/OU=" + department + "/O=" + Organisation;
  }
  std::string internetAddress() const { return shortName + "@example.org"; }
};

// How many departments there are to choose from.
std::size_t departmentsKnown();

struct PeoplePlan {
  std::size_t mailboxes = 0;
  // Not fewer than there are mailboxes. Without a number there are as many people as show every
  // form of "MailFile".
  std::optional<std::size_t> people;
  std::size_t departments = departmentsKnown();  // each has somebody, if there are enough people
};

// First the owners of the mailboxes, then some people with the other forms of "MailFile", then
// people whose mail files do not exist.
std::vector<Person> inventPeople(const PeoplePlan& plan, std::uint64_t seed);

}  // namespace simulator

#endif
