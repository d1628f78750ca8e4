// ID tables: sorted sets of note IDs.
//
// A null handle or one of another kind of memory gets the published status, where the function has
// one to give. A handle that was never given or is destroyed stops the process, as does any of them
// in a function that has no status.
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <utility>

#include "Export.h"
#include "HandleCounters.h"
#include "MemoryObjects.h"
#include "Panic.h"

namespace simulator {
namespace {

// Its functions may be called by several threads.
class IdTable : public MemoryObject {
  // Stands before its uses, which need its result type.
  template <typename Action>
  auto locked(const Action& action) {
    const std::lock_guard<std::mutex> guard(mutex_);
    return action(ids_);
  }

 public:
  IdTable() = default;
  explicit IdTable(std::set<DWORD> ids) : ids_(std::move(ids)) {}

  bool insert(DWORD id) {
    return locked([id](auto& ids) { return ids.insert(id).second; });
  }
  bool remove(DWORD id) {
    return locked([id](auto& ids) { return ids.erase(id) != 0; });
  }
  bool contains(DWORD id) {
    return locked([id](auto& ids) { return ids.count(id) != 0; });
  }
  std::size_t size() {
    return locked([](auto& ids) { return ids.size(); });
  }
  std::set<DWORD> ids() {
    return locked([](auto& ids) { return ids; });
  }

  // The smallest ID, or the smallest one above `id`, goes to `id`; false if there is none.
  bool scan(bool first, DWORD& id) {
    return locked([first, &id](auto& ids) {
      const auto next = first ? ids.begin() : ids.upper_bound(id);
      if (next == ids.end()) return false;
      id = *next;
      return true;
    });
  }

 private:
  std::mutex mutex_;
  std::set<DWORD> ids_;
};

const bool tablesCounted =
    registerHandleCounter("tables", [] { return countMemoryObjects<IdTable>(); });

// Null if the handle is null or of another kind.
std::shared_ptr<IdTable> tableOf(DHANDLE handle, const char* function) {
  if (handle == NULLHANDLE) return nullptr;
  const std::shared_ptr<MemoryObject> object = memoryObjects().find(handle);
  if (object == nullptr) {
    panic(function, "ID table " + std::to_string(handle) + " was never given or is destroyed");
  }
  return std::dynamic_pointer_cast<IdTable>(object);
}

std::shared_ptr<IdTable> existingTable(DHANDLE handle, const char* function) {
  auto table = tableOf(handle, function);
  if (table == nullptr) panic(function, "handle " + std::to_string(handle) + " is no ID table");
  return table;
}

STATUS give(std::shared_ptr<IdTable> table, DHANDLE* rethTable) {
  *rethTable = memoryObjects().add(std::move(table));
  return *rethTable == NULLHANDLE ? ERR_MEMORY : NOERROR;
}

// Whether a change was one goes to the caller, who may not want to know.
STATUS report(bool changed, BOOL* retfChanged) {
  if (retfChanged != nullptr) *retfChanged = changed ? TRUE : FALSE;
  return NOERROR;
}

}  // namespace
}  // namespace simulator

SIM_EXPORT STATUS IDCreateTable(DWORD Alignment, DHANDLE* rethTable) {
  if (rethTable == nullptr || (Alignment != 0 && Alignment != 4)) return ERR_BAD_PARAM;
  return simulator::give(std::make_shared<simulator::IdTable>(), rethTable);
}

SIM_EXPORT STATUS IDDestroyTable(DHANDLE hTable) {
  if (simulator::tableOf(hTable, "IDDestroyTable") == nullptr) return ERR_IDTABLE_INVALID;
  simulator::memoryObjects().remove(hTable);
  return NOERROR;
}

SIM_EXPORT STATUS IDInsert(DHANDLE hTable, DWORD id, BOOL* retfInserted) {
  const auto table = simulator::tableOf(hTable, "IDInsert");
  return table == nullptr ? ERR_IDTABLE_INVALID
                          : simulator::report(table->insert(id), retfInserted);
}

SIM_EXPORT STATUS IDDelete(DHANDLE hTable, DWORD id, BOOL* retfDeleted) {
  const auto table = simulator::tableOf(hTable, "IDDelete");
  return table == nullptr ? ERR_IDTABLE_INVALID : simulator::report(table->remove(id), retfDeleted);
}

SIM_EXPORT STATUS IDTableCopy(DHANDLE hTable, DHANDLE* rethTable) {
  if (rethTable == nullptr) return ERR_BAD_PARAM;
  const auto table = simulator::tableOf(hTable, "IDTableCopy");
  if (table == nullptr) return ERR_IDTABLE_INVALID;
  return simulator::give(std::make_shared<simulator::IdTable>(table->ids()), rethTable);
}

SIM_EXPORT BOOL IDScan(DHANDLE hTable, BOOL fFirst, DWORD* retID) {
  if (retID == nullptr) simulator::panic("IDScan", "no place for the ID");
  return simulator::existingTable(hTable, "IDScan")->scan(fFirst != FALSE, *retID) ? TRUE : FALSE;
}

SIM_EXPORT BOOL IDIsPresent(DHANDLE hTable, DWORD id) {
  return simulator::existingTable(hTable, "IDIsPresent")->contains(id) ? TRUE : FALSE;
}

SIM_EXPORT DWORD IDEntries(DHANDLE hTable) {
  return static_cast<DWORD>(simulator::existingTable(hTable, "IDEntries")->size());
}
