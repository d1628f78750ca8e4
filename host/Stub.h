// What is left of a note in its database when it has been archived: its fields, the names of its
// attachments, and the way to the copy.
#ifndef KOLN_HOST_STUB_H
#define KOLN_HOST_STUB_H

#include <string>

#include "Manifest.h"
#include "NoteFacts.h"

namespace host {

enum class LinkKind { Url, Button, Mime };

/// The longest URL that every kind of link can hold.
constexpr std::size_t longestUrl = 900;

struct WayBack {
  LinkKind kind = LinkKind::Url;
  std::string url;     ///< ASCII without blanks, at most `longestUrl` bytes.
  std::string marker;  ///< Names the copy for later runs.
};

/// Turns an open note into a stub, in memory. @throws Failure; then the note must not be updated.
void turnIntoStub(KoLNDataDocument& note, const NoteFacts& facts, const WayBack& way,
                  const Json& details);

}  // namespace host

#endif
