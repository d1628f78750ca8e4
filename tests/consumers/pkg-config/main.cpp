// A project outside of the tree that links through pkg-config: starts a partition through the plain
// functions and prints the name of its server.
#include <NotesUtilities.h>
#include <findDataPartition.h>

#include <cstdio>

int main(int, char** argv) {
  std::string instance = std::string("Domino\x12") + argv[1];
  char directory[1024] = {};
  char server[257] = {};
  if (!loadNotesFunctions(instance, "Domino") || !initializeWithPartition(&instance[0], directory))
    return 1;
  const bool found = KoLNUtilities().GetNotesINIvarString("ServerName", server) != FALSE;
  KO_NotesTerm();
  return found && std::puts(server) >= 0 ? 0 : 1;
}
