// The host's wish to stop, for one run: asked for while there is work, and never taken back,
// whatever the host answers later.
#ifndef KOLN_PLATFORM_QUIT_REQUEST_H
#define KOLN_PLATFORM_QUIT_REQUEST_H

#include "findDataPartition.h"
#include "platform/HostQuestion.h"

namespace koln {

class QuitRequest {
 public:
  // Asks the host, unless it has said stop already.
  bool requested() {
    // As QuitJob asks, but in place: this is asked once an entry of what may be millions.
    if (!remembered_ && askHost(pJobQuitCallback, true)) [[unlikely]] {
      remembered_ = true;
    }
    return remembered_;
  }

  // Whether it has said stop, without asking.
  bool remembered() const { return remembered_; }

 private:
  bool remembered_ = false;
};

}  // namespace koln

#endif
