// Work that may crash, hang or end the process, such as loading a vendor's runtime: done in a child
// process, so that whatever comes of it can be told.
#ifndef KOLN_HOST_DOCTOR_CHILD_H
#define KOLN_HOST_DOCTOR_CHILD_H

#include <chrono>
#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace host {

struct ChildAnswer {
  /// What the work told, as far as it came.
  std::vector<std::string> texts;
  /// Empty if the work came to its end, else what became of the child, as in "crashed: Aborted".
  std::string failure;

  /// A text, or an empty one if the child did not get to it.
  std::string text(std::size_t index) const {
    return index < texts.size() ? texts[index] : std::string();
  }
};

using Tell = std::function<void(std::string_view)>;

/// Does the work in a child without input, output and core dump; a child that takes longer than the
/// limit is ended. The process must have no other threads.
/// @param shareStderr Whether the child may write to this process's stderr.
/// @throws Failure if there can be no child, and if the user interrupts.
ChildAnswer askChild(std::chrono::seconds limit, bool shareStderr,
                     const std::function<void(const Tell&)>& work);

/// For the work, after it has changed its user: has the child end with its parent again, which the
/// change took away.
void endWithParent() noexcept;

}  // namespace host

#endif
