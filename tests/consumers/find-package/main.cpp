// A project outside of the tree that links through find_package: prints the paths of all databases.
#include <koln.h>

#include <cstdio>

static STATUS print(void*, SEARCH_MATCH*, ITEM_TABLE* summary) {
  std::string path;
  const bool found = KoLNUtilities().GetSummaryValue(summary, "$Path", path) != FALSE;
  return found && std::puts(path.c_str()) >= 0 ? NOERROR : ERR_CANCEL;
}

int main(int, char** argv) {
  KoLNInstance instance("Domino", std::string("Domino\x12") + argv[1], "", false);
  if (!instance.Initialize() || instance.InitializeNotesEnv().IsErrorSet()) return 1;
  KoLNInstance* address = &instance;
  return KoLNUtilities().DiscoverDatabases(&address, nullptr, print).IsErrorSet() ? 1 : 0;
}
