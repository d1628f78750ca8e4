#include "Stub.h"

#include <fmt/format.h>

#include "NotesFailure.h"

namespace host {
namespace {

constexpr const char* attachmentItem = "AttachmentData";

void require(const KoLNError& error, const char* what) {
  if (isError(error)) {
    throw failureOf(what, error);
  }
}

// The record of the names is all that a stub tells of its attachments, and the library would delete
// them without it. So it is written and read back first.
void removeAttachments(KoLNDataDocument& note, const std::vector<ATTACHMENT>& attachments) {
  std::string names;
  for (const ATTACHMENT& attachment : attachments) {
    names += attachment.name;
    names += '\0';
  }
  require(note.AddAttachmentInfo(), "the names of its attachments cannot be recorded");
  if (storedText(note, attachmentItem) != names) {
    throw Failure(ExitCode::Failed,
                  "the names of its attachments are too many to be recorded; it has to stay");
  }
  bool removed = false;
  require(note.RemoveAttachments(removed), "its attachments cannot be removed");
  if (!removed) {
    throw Failure(ExitCode::Failed, "its attachments were not removed; run the command again");
  }
}

std::string quotedForHtml(const std::string& url) {
  std::string quoted;
  for (const char c : url) {
    quoted += c == '&' ? std::string("&amp;") : std::string(1, c);
  }
  return quoted;
}

void insertMimeLink(KoLNDataDocument& note, const std::string& url) {
  std::string part = fmt::format(
      "MIME-Version: 1.0\r\n"
      "Content-Type: text/html; charset=US-ASCII\r\n"
      "Content-Transfer-Encoding: 7bit\r\n"
      "\r\n"
      "<html><body><p>This document has been archived.\r\n"
      "<a href=\"{}\">\r\n"
      "Open the archived copy</a></p></body></html>\r\n",
      quotedForHtml(url));
  require(note.InsertLink(part.data()), "the link to its copy cannot be inserted");
}

void insertLink(KoLNDataDocument& note, const WayBack& way) {
  switch (way.kind) {
    case LinkKind::Url:
      return require(note.InsertURL(way.url.c_str()), "the link to its copy cannot be inserted");
    case LinkKind::Button:
      return require(note.InsertButton(way.url.c_str()),
                     "the button for its copy cannot be inserted");
    case LinkKind::Mime:
      return insertMimeLink(note, way.url);
  }
}

}  // namespace

void turnIntoStub(KoLNDataDocument& note, const NoteFacts& facts, const WayBack& way,
                  const Json& details) {
  if (!facts.attachments.empty()) {
    removeAttachments(note, facts.attachments);
  }
  require(note.RemoveMessageBody(), "its body cannot be removed");
  require(note.RemoveSealedFields(), "its sealed fields cannot be removed");
  insertLink(note, way);
  const std::string inAscii = details.dump(-1, ' ', true);
  require(note.SetItemText(stubDetailsItem, inAscii), "it cannot be described as a stub");
  require(note.SetItemText(stubItem, way.marker), "it cannot be marked as a stub");
}

}  // namespace host
