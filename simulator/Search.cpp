// NSFSearch: see Search.h.
#include "Search.h"

#include "Clock.h"
#include "Databases.h"
#include "Export.h"

namespace simulator {

STATUS tell(const SearchCall& call, SEARCH_MATCH& match, std::vector<BYTE>& summary) {
  match.SummaryLength = static_cast<WORD>(summary.size());
  return call.routine(call.parameter, &match,
                      summary.empty() ? nullptr : reinterpret_cast<ITEM_TABLE*>(summary.data()));
}

}  // namespace simulator

using namespace simulator;

SIM_EXPORT STATUS NSFSearch(DBHANDLE hDB, FORMULAHANDLE hFormula, char* /*ViewTitle*/,
                            WORD SearchFlags, WORD NoteClassMask, TIMEDATE* Since,
                            NSFSEARCHPROC EnumRoutine, void* EnumRoutineParameter,
                            TIMEDATE* retUntil) {
  const bool forFiles = (SearchFlags & SEARCH_FILETYPE) != 0;
  const STATUS wrong = statusOf([&] {
    const bool directory = requireDatabase(hDB)->directory;
    if (!EnumRoutine) throw StatusError(ERR_BAD_PARAM, "no routine");
    if (forFiles && !directory) throw StatusError(ERR_NOT_DIRECTORY, "not a directory");
    if (!forFiles && directory) throw StatusError(ERR_DIRECTORY, "a directory");
  });
  if (wrong != NOERROR) return wrong;
  SearchCall call{hDB,          hFormula,    SearchFlags,          NoteClassMask,
                  std::nullopt, EnumRoutine, EnumRoutineParameter, retUntil};
  if (Since && !isWildcard(*Since)) call.since = *Since;
  return forFiles ? searchFiles(call) : searchNotes(call);
}
