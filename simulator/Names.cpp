// See Names.h, and what the API has about names of its own.
#include "Names.h"

#include <algorithm>
#include <memory>
#include <optional>
#include <vector>

#include "AddressBooks.h"
#include "Databases.h"
#include "Environment.h"
#include "Export.h"
#include "ServerName.h"
#include "Text.h"

namespace simulator {
namespace {

std::vector<std::string> levelsOf(std::string_view name) {
  std::vector<std::string> levels;
  for (std::size_t end = name.find('/'); end != std::string_view::npos; end = name.find('/')) {
    levels.emplace_back(name.substr(0, end));
    name.remove_prefix(end + 1);
  }
  levels.emplace_back(name);
  return levels;
}

bool hasLabel(const std::string& level) {
  return level.find('=') != std::string::npos;
}

bool hasLabel(const std::string& level, std::string_view label) {
  return sameName(level.substr(0, level.find('=')), label);
}

// A name ends with the organisation, or with a country of two letters behind it.
bool endsWithCountry(const std::vector<std::string>& levels) {
  const std::string& last = levels.back();
  return levels.size() > 2 && last.size() == 2 && std::all_of(last.begin(), last.end(), [](char c) {
           return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
         });
}

void addLabels(std::vector<std::string>& levels, bool complete) {
  const std::size_t country =
      complete && endsWithCountry(levels) ? levels.size() - 1 : levels.size();
  for (std::size_t i = 0; i < levels.size(); ++i) {
    const char* label = "OU=";
    if (i == 0)
      label = "CN=";
    else if (i == country)
      label = "C=";
    else if (complete && i + 1 == country)
      label = "O=";
    levels[i].insert(0, label);
  }
}

// What the name has of a level it keeps: the pattern gives the units below that, the organisation
// and the country.
void fillUp(std::vector<std::string>& levels, std::string_view pattern) {
  const auto isOrganisation = [](const std::string& level) { return hasLabel(level, "O"); };
  if (std::any_of(levels.begin(), levels.end(), isOrganisation)) return;
  const std::vector<std::string> model = levelsOf(canonicalName(pattern));
  const std::size_t given = levels.size();
  for (std::size_t i = 0; i < model.size(); ++i) {
    const bool always = isOrganisation(model[i]) || hasLabel(model[i], "C");
    if (hasLabel(model[i]) && (always || i >= given)) levels.push_back(model[i]);
  }
}

// The first text of an item; nothing if the person has none.
std::string firstText(const PersonItem& item, std::uint32_t person) {
  const std::optional<ItemValue> value = item.of(person);
  const std::vector<std::string_view> all = value ? texts(*value) : std::vector<std::string_view>();
  return all.empty() ? std::string() : std::string(all.front());
}

// The address (LMBCS) of the only person with that name in the first book that knows it.
std::string mailAddress(const std::string& name) {
  static const std::vector<std::string> items = {"FullName", "FirstName", "LastName", "ShortName",
                                                 "MailDomain"};
  constexpr std::size_t nameItems = 4;
  const std::string key = nameKey(name);
  for (const std::shared_ptr<AddressBook>& book : addressBooks()) {
    const Persons persons = book->read(items);
    std::vector<std::uint32_t> found;
    for (std::size_t i = 0; i < nameItems; ++i) {
      const std::vector<std::uint32_t> more = persons.items[i]->personsWith(key);
      found.insert(found.end(), more.begin(), more.end());
    }
    if (found.empty()) continue;
    const std::uint32_t person = found.front();
    if (std::any_of(found.begin(), found.end(),
                    [person](std::uint32_t other) { return other != person; }))
      throw StatusError(ERR_ROUTER_NOTUNIQUE, name + ": several persons");
    std::string address = firstText(*persons.items[3], person);
    if (address.empty()) address = firstText(*persons.items[0], person);
    std::string domain = firstText(*persons.items[4], person);
    if (domain.empty()) domain = utf8ToLmbcs(iniVariable("Domain").value_or(""));
    return address.append(" @ ").append(domain);
  }
  throw StatusError(ERR_ROUTER_NOSUCHUSER, name + ": no such person");
}

}  // namespace

std::string canonicalName(std::string_view name, std::string_view pattern) {
  const bool open = name.ends_with('/');
  std::vector<std::string> levels = levelsOf(open ? name.substr(0, name.size() - 1) : name);
  const bool labelled = hasLabel(levels.front());
  const bool odd = std::any_of(levels.begin(), levels.end(),
                               [](const std::string& level) { return level.empty(); });
  if (odd || (!open && (labelled || levels.size() == 1))) return std::string(name);
  if (!labelled) addLabels(levels, !open);
  if (open) fillUp(levels, pattern);
  std::string canonical = levels.front();
  for (std::size_t i = 1; i < levels.size(); ++i) canonical.append("/").append(levels[i]);
  return canonical;
}

}  // namespace simulator

using namespace simulator;

// The current user of a server is the server.
SIM_EXPORT STATUS DNCanonicalize(DWORD Flags, const char* TemplateName, const char* InName,
                                 char* OutName, WORD OutSize, WORD* OutLength) {
  if (Flags != 0 || InName == nullptr || OutName == nullptr || OutSize == 0) return ERR_BAD_PARAM;
  return statusOf([&] {
    const std::string name = lmbcsToUtf8(InName);
    const std::string canonical =
        canonicalName(name, TemplateName != nullptr ? lmbcsToUtf8(TemplateName) : serverName());
    // What stays as it is keeps characters too that the runtime cannot read.
    const std::string text = canonical == name ? std::string(InName) : utf8ToLmbcs(canonical);
    OutName[0] = '\0';
    if (OutLength != nullptr) *OutLength = 0;
    // Half a name would be the name of somebody else.
    if (text.size() >= OutSize) throw StatusError(ERR_BAD_PARAM, "the name does not fit");
    std::copy(text.begin(), text.end(), OutName);
    OutName[text.size()] = '\0';
    if (OutLength != nullptr) *OutLength = static_cast<WORD>(text.size());
  });
}

// The size of the buffer is not told; hosts have room for a name and a domain.
SIM_EXPORT STATUS MailLookupAddress(char* UserName, char* MailAddress) {
  if (MailAddress == nullptr) return ERR_BAD_PARAM;
  return statusOf([&] {
    MailAddress[0] = '\0';
    if (UserName == nullptr || *UserName == '\0')
      throw StatusError(ERR_ROUTER_NOSUCHUSER, "no name");
    const std::string address = mailAddress(UserName);
    const std::string_view text = cutLmbcs(address, MAXUSERNAME - 1);
    std::copy(text.begin(), text.end(), MailAddress);
    MailAddress[text.size()] = '\0';
  });
}
