/* What tests and developers of hosts can ask of the simulated runtime beyond the Notes C API.
 * Plain C: link libnotes.so directly, or look the functions up with dlsym. */
#ifndef KOLN_SIMULATOR_CONTROL_H
#define KOLN_SIMULATOR_CONTROL_H

#ifdef __cplusplus
extern "C" {
#endif

/* How many objects of a kind the process holds at this moment, -1 for a kind that does not exist.
 * A host that has given everything back finds 0. Kinds:
 *   "memory"        blocks of OSMemAlloc and results to be freed with OSMemFree; not the value
 *                   blocks of items, which belong to the note
 *   "locks"         calls of OSLockObject that were not undone
 *   "tables"        ID tables
 *   "runtime"       calls of NotesInitExtended that were not undone by NotesTerm
 *   "threads"       threads between NotesInitThread and NotesTermThread
 *   "databases"     open databases and directories
 *   "notes"         notes between open or create and NSFNoteClose
 *   "collections"   collections between NIFOpenCollection and NIFCloseCollection
 *   "computations"  calls of NSFComputeStart that were not undone by NSFComputeStop
 *   "mime"          MIME part streams that were not closed
 *   "importers"     DXL importers
 *   "exporters"     DXL exporters */
__attribute__((visibility("default"))) long SimOpenHandles(const char* kind);

/* Sets a variable of notes.ini (both UTF-8) for this process until NotesInitExtended reads the file
 * again; the file stays as it is. Beside the names that a host itself looks up these mean something
 * to the runtime:
 *   Directory             the data directory
 *   TimeZone, DST         the zone of OSCurrentTimeZone in place of the machine's
 *   SimConsoleAnswer      what the remote console answers to every command
 *   SimCollectionPage     how many bytes a page of NIFReadEntries has at most, 65400 if it is not set;
 *                         an entry that is larger is a page of its own
 *   SimShortOriginatorId  1: on-disk type 28 has 16 bytes instead of 28, as other releases have it
 */
__attribute__((visibility("default"))) void SimSetVariable(const char* name, const char* value);

#ifdef __cplusplus
}
#endif

#endif
