/// @file koln.h
/// Everything that the library offers.
#ifndef KOLN_KOLN_H
#define KOLN_KOLN_H

#include "DominoInstance.h"
#include "KoLib.h"
#include "NotesApi.h"
#include "NotesDatabase.h"
#include "NotesDocument.h"
#include "NotesError.h"
#include "NotesUtilities.h"
#include "findDataPartition.h"

#endif
