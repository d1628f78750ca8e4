// Prints the entries of a view or folder as lines of text: note ID and columns, with tabs between.
//   render_index DATA-DIRECTORY DATABASE VIEW
#include <algorithm>

#include "pages.h"

// What an entry holds, in this order. The numbers and the position are for texts of columns that
// ask for them.
static const DWORD EntryMask = READ_MASK_NOTEID | READ_MASK_INDEXSIBLINGS |
                               READ_MASK_INDEXCHILDREN | READ_MASK_INDEXDESCENDANTS |
                               READ_MASK_INDEXPOSITION | READ_MASK_SUMMARY;

static void printLine(std::string line) {
  std::replace(line.begin(), line.end(), '\x12', '\t');
  std::puts(line.c_str());
}

static void renderEntry(KoLNView& view, Page& page) {
  NOTEID id = 0;
  INDEXSPECIALINFO special = {};
  COLLECTIONPOSITION position = {};
  page.read(&id, sizeof id);
  page.read(&special.IndexSiblings, sizeof special.IndexSiblings);
  page.read(&special.IndexChildren, sizeof special.IndexChildren);
  page.read(&special.IndexDescendants, sizeof special.IndexDescendants);
  page.read(&position, offsetof(COLLECTIONPOSITION, Tumbler));  // Only levels in use follow.
  if (position.Level >= MAXTUMBLERLEVELS) throw Failure("a position of the view is damaged");
  page.read(position.Tumbler, (position.Level + std::size_t(1)) * sizeof position.Tumbler[0]);
  ITEM_TABLE head = {};
  unsigned char* const summary = page.take(sizeof head);
  std::memcpy(&head, summary, sizeof head);
  if (head.Length < sizeof head) throw Failure("a summary of the view is damaged");
  page.take(head.Length - sizeof head);
  char line[4096] = {};
  if (view.AddEntryToNoteIndex(line, summary, id, special, position, 0) != 0)
    throw Failure("an entry has no room in a line");
  printLine(line);
}

static int run(char** words) {
  Partition partition(words[0]);
  KoLNDatabase database(words[1], partition.instance);
  check(database.Open(words[1], false), words[1]);
  KoLNView view(database, std::string(words[2]));
  unsigned int id = 0;
  check(view.FindID(id), std::string("there is no view ") + words[2]);
  std::string titles;                                   // Each has 0x12 in front.
  check(view.GetCoulmnTitles(&titles), "the columns");  // The view knows its columns from now on.
  printLine("NOTE ID " + titles);
  readEntries(database, view, EntryMask, [&view](Page& page) { renderEntry(view, page); });
  return std::fflush(stdout) == 0 && !std::ferror(stdout) ? 0 : 1;
}

int main(int argc, char** argv) {
  return runExample(argc, argv, 3, "DATA-DIRECTORY DATABASE VIEW", run);
}
