// The access control list of a database. Hosts keep it as bytes and give them back later, so its
// form is the runtime's own: a header, then the entries, each with its name behind it. The runtime
// itself refuses nobody.
#include <algorithm>
#include <cstring>
#include <span>
#include <string>
#include <vector>

#include "Clock.h"
#include "Databases.h"
#include "Environment.h"
#include "Export.h"
#include "Memory.h"
#include "Text.h"

namespace simulator {

namespace {

constexpr DWORD Mark = 0x4C43414B;  // "KACL"
constexpr WORD Version = 1;

enum AccessLevel : WORD { Reader = 2, Manager = 6 };

struct ListHeader {
  DWORD mark = Mark;
  WORD version = Version;
  WORD entries = 0;
};

struct EntryHeader {
  WORD level = 0;
  WORD flags = 0;
  WORD nameLength = 0;
};

struct Entry {
  WORD level = 0;
  WORD flags = 0;
  std::string name;  // LMBCS
};

using AccessList = std::vector<Entry>;

template <typename Header>
void append(std::vector<BYTE>& bytes, const Header& header) {
  const std::size_t end = bytes.size();
  bytes.resize(end + sizeof header);
  std::memcpy(bytes.data() + end, &header, sizeof header);
}

std::vector<BYTE> toBytes(const AccessList& list) {
  std::vector<BYTE> bytes;
  ListHeader header;
  header.entries = static_cast<WORD>(list.size());
  append(bytes, header);
  for (const Entry& entry : list) {
    append(bytes, EntryHeader{entry.level, entry.flags, static_cast<WORD>(entry.name.size())});
    bytes.insert(bytes.end(), entry.name.begin(), entry.name.end());
  }
  return bytes;
}

// Takes bytes off the front.
std::span<const BYTE> take(std::span<const BYTE>& bytes, std::size_t size) {
  if (size > bytes.size()) throw StatusError(ERR_BAD_PARAM, "access control list cut off");
  const std::span<const BYTE> taken = bytes.first(size);
  bytes = bytes.subspan(size);
  return taken;
}

template <typename Header>
Header takeHeader(std::span<const BYTE>& bytes) {
  Header header;
  std::memcpy(&header, take(bytes, sizeof header).data(), sizeof header);
  return header;
}

// Bytes behind the list do not count: a memory object may be larger than what was asked for.
AccessList toList(std::span<const BYTE> bytes) {
  const auto header = takeHeader<ListHeader>(bytes);
  if (header.mark != Mark || header.version != Version)
    throw StatusError(ERR_BAD_PARAM, "no access control list");
  AccessList list;
  for (WORD i = 0; i < header.entries; ++i) {
    const auto entry = takeHeader<EntryHeader>(bytes);
    const std::span<const BYTE> name = take(bytes, entry.nameLength);
    list.push_back({entry.level, entry.flags, std::string(name.begin(), name.end())});
  }
  return list;
}

// What a database has as long as none was stored.
AccessList defaultList() {
  AccessList list = {{Reader, 0, "-Default-"}};
  const std::string server = iniVariable("ServerName").value_or("");
  if (!server.empty()) list.push_back({Manager, 0, utf8ToLmbcs(server)});
  return list;
}

AccessList listOf(const StoreLease& store) {
  const auto stored = store->accessControl();
  return stored ? toList(*stored) : defaultList();
}

// Entries of the update take the place of those with the same name.
void merge(AccessList& list, const AccessList& update) {
  for (const Entry& entry : update) {
    const auto same = std::find_if(list.begin(), list.end(), [&entry](const Entry& other) {
      return sameName(entry.name, other.name);
    });
    if (same != list.end())
      *same = entry;
    else
      list.push_back(entry);
  }
  if (list.size() > MAXWORD) throw StatusError(ERR_BAD_PARAM, "too many entries");
}

// How a list is stored: into the present one, or in its place.
constexpr WORD MethodUpdate = 0;
constexpr WORD MethodReplace = 1;

}  // namespace

}  // namespace simulator

using namespace simulator;

SIM_EXPORT STATUS NSFDbReadACL(DBHANDLE hDB, DHANDLE* rethACL) {
  if (!rethACL) return ERR_BAD_PARAM;
  *rethACL = NULLHANDLE;
  return statusOf([&] {
    const std::vector<BYTE> bytes = toBytes(listOf(requireStore(hDB)));
    *rethACL = allocateBytes(bytes.data(), bytes.size());
    if (*rethACL == NULLHANDLE) throw std::bad_alloc();
  });
}

SIM_EXPORT STATUS NSFDbStoreACL(DBHANDLE hDB, DHANDLE hACL, DWORD ObjectID, WORD Method) {
  return statusOf([&] {
    const StoreLease store = requireStore(hDB);
    if (ObjectID != 0 || Method > MethodReplace)
      throw StatusError(ERR_BAD_PARAM, "object ID or method");
    const auto bytes = unlockedBytes(hACL, "NSFDbStoreACL");
    if (!bytes) throw StatusError(ERR_BAD_PARAM, "the list is locked");
    AccessList list = toList(*bytes);
    Transaction batch = store->batch();
    if (Method == MethodUpdate) {
      AccessList present = listOf(store);
      merge(present, list);
      list = std::move(present);
    }
    store->setAccessControl(toBytes(list));
    DatabaseProperties properties = store->properties();
    properties.nonDataModified = currentTime();
    store->setProperties(properties);
    batch.commit();
  });
}
