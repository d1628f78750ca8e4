// Look-ups in the directory: names in name spaces (the views of the address books), the items of
// what was found, and the walk through the result.
//
// The flags: NAME_LOOKUP_ALL gives everybody, and one empty name goes with it. A name that is in
// one book is not looked for in the next ones, unless the look-up is exhaustive; with
// NAME_LOOKUP_NOSEARCHING there is but the first book, whatever else is asked for. Books are always
// up to date, so the flag for that changes nothing.
#include <algorithm>
#include <array>
#include <cstring>
#include <memory>

#include "AddressBooks.h"
#include "Databases.h"
#include "Export.h"
#include "LookupBuffer.h"
#include "ServerName.h"
#include "Text.h"

namespace simulator {
namespace {

// The views that list persons. A name is one of the texts in these items.
constexpr std::array nameSpacesKnown = {"$People", "$Users"};
constexpr std::array nameItems = {"FullName", "ShortName"};

struct Query {
  std::size_t nameSpaces = 0;
  std::vector<std::string> names;
  std::vector<std::string> items;
  bool everybody = false;
  bool firstBookOnly = false;
  bool exhaustive = false;
};

// `count` terminated texts behind each other.
std::vector<std::string> unpacked(const char* list, WORD count) {
  if (list == nullptr && count != 0) throw StatusError(ERR_BAD_PARAM, "a list is missing");
  std::vector<std::string> texts;
  for (WORD i = 0; i < count; ++i) {
    texts.emplace_back(list);
    list += texts.back().size() + 1;
  }
  return texts;
}

void requireNameSpace(const std::string& name) {
  const auto isThis = [&name](const char* known) { return sameName(known, name); };
  if (std::none_of(nameSpacesKnown.begin(), nameSpacesKnown.end(), isThis))
    throw StatusError(ERR_NO_SUCH_NAMESPACE, name + ": no such name space");
}

// The persons whom a book has under a name.
std::vector<std::uint32_t> personsNamed(const Persons& persons, const Query& query,
                                        const std::string& name) {
  std::vector<std::uint32_t> found;
  if (name.empty()) return found;
  const std::string key = nameKey(name);
  for (std::size_t i = query.items.size(); i < persons.items.size(); ++i) {
    const std::vector<std::uint32_t> more = persons.items[i]->personsWith(key);
    found.insert(found.end(), more.begin(), more.end());
  }
  std::sort(found.begin(), found.end());
  found.erase(std::unique(found.begin(), found.end()), found.end());
  return found;
}

DHANDLE lookUp(const Query& query) {
  std::vector<std::string> itemsToRead = query.items;
  if (!query.everybody) itemsToRead.insert(itemsToRead.end(), nameItems.begin(), nameItems.end());
  std::vector<std::unique_ptr<Persons>> books;  // at addresses that stay
  std::vector<LookupRecord> perName(query.names.size());
  for (const std::shared_ptr<AddressBook>& book : addressBooks()) {
    const auto finished = [](const LookupRecord& record) { return !record.empty(); };
    if (!books.empty() && query.firstBookOnly) break;
    if (!query.exhaustive && std::all_of(perName.begin(), perName.end(), finished)) break;
    const Persons& persons =
        *books.emplace_back(std::make_unique<Persons>(book->read(itemsToRead)));
    for (std::size_t i = 0; i < perName.size(); ++i) {
      if (!query.exhaustive && finished(perName[i])) continue;
      if (query.everybody) {
        perName[i].reserve(perName[i].size() + persons.count);
        for (std::uint32_t person = 0; person < persons.count; ++person)
          perName[i].push_back({&persons, person});
      } else {
        for (const std::uint32_t person : personsNamed(persons, query, query.names[i]))
          perName[i].push_back({&persons, person});
      }
    }
  }
  return makeLookupBuffer(perName, query.nameSpaces, query.items.size());
}

}  // namespace
}  // namespace simulator

using namespace simulator;

SIM_EXPORT STATUS NAMELookup2(const char* ServerName, DWORD Flags, WORD NumNameSpaces,
                              const char* NameSpaces, WORD NumNames, const char* Names,
                              WORD NumItems, const char* Items, DHANDLE* rethBuffer) {
  if (rethBuffer == nullptr) return ERR_BAD_PARAM;
  *rethBuffer = NULLHANDLE;
  return statusOf([&] {
    if (!isThisServer(ServerName)) throw StatusError(ERR_NO_SERVER_ACCESS, "another server");
    if (NumNameSpaces == 0 || NumNames == 0) throw StatusError(ERR_BAD_PARAM, "nothing to look up");
    for (const std::string& nameSpace : unpacked(NameSpaces, NumNameSpaces))
      requireNameSpace(nameSpace);
    Query query;
    query.nameSpaces = NumNameSpaces;
    query.names = unpacked(Names, NumNames);
    query.items = unpacked(Items, NumItems);
    query.everybody = (Flags & NAME_LOOKUP_ALL) != 0;
    query.firstBookOnly = (Flags & NAME_LOOKUP_NOSEARCHING) != 0;
    query.exhaustive = (Flags & NAME_LOOKUP_EXHAUSTIVE) != 0;
    if (query.everybody && (NumNames != 1 || !query.names.front().empty()))
      throw StatusError(ERR_BAD_PARAM, "everybody is looked up with one empty name");
    *rethBuffer = lookUp(query);
  });
}

SIM_EXPORT void* NAMELocateNextName2(void* pLookup, void* pName, DWORD* retNumMatches) {
  const LookupBuffer buffer = LookupBuffer::holding(pLookup, "NAMELocateNextName2");
  return buffer.nextRecord(pLookup, pName, retNumMatches);
}

// Behind the last match there is an address too, but nothing can be done with it.
SIM_EXPORT void* NAMELocateNextMatch2(void* pLookup, void* pName, void* pMatch) {
  const LookupBuffer buffer = LookupBuffer::holding(pLookup, "NAMELocateNextMatch2");
  return buffer.nextMatch(pLookup, pName, pMatch);
}

SIM_EXPORT void* NAMELocateItem2(void* pMatch, WORD Item, WORD* retDataType, WORD* retSize) {
  const LookupBuffer buffer = LookupBuffer::holding(pMatch, "NAMELocateItem2");
  const std::span<BYTE> value = buffer.item(pMatch, Item);
  if (value.empty()) return nullptr;
  if (retDataType != nullptr) std::memcpy(retDataType, value.data(), sizeof(WORD));
  if (retSize != nullptr) *retSize = static_cast<WORD>(value.size());
  return value.data();
}

SIM_EXPORT STATUS NAMEGetTextItem2(void* pMatch, WORD Item, WORD Member, char* Buffer,
                                   WORD BufLen) {
  const LookupBuffer buffer = LookupBuffer::holding(pMatch, "NAMEGetTextItem2");
  const std::span<const BYTE> bytes = buffer.item(pMatch, Item);
  if (bytes.empty()) return ERR_NO_SUCH_ITEM;
  ItemValue value;
  std::memcpy(&value.type, bytes.data(), sizeof(WORD));
  value.bytes = bytes.subspan(sizeof(WORD));
  if (!value.isText()) return ERR_UNSUPPORTED_DATATYPE;
  const std::vector<std::string_view> members = texts(value);
  if (Member >= members.size()) return ERR_NO_MORE_MEMBERS;
  if (Buffer == nullptr || BufLen == 0) return ERR_BAD_PARAM;
  const std::string_view text = cutLmbcs(members[Member], BufLen - std::size_t{1});
  std::copy(text.begin(), text.end(), Buffer);
  Buffer[text.size()] = '\0';
  return NOERROR;
}
