// How the library asks the host through one of its callbacks.
#ifndef KOLN_PLATFORM_HOST_QUESTION_H
#define KOLN_PLATFORM_HOST_QUESTION_H

namespace koln {

// A callback that is missing or throws gives the answer of a host that is not there.
template <typename... Arguments>
[[gnu::always_inline]] inline bool askHost(bool (*callback)(Arguments...), bool otherwise,
                                           Arguments... arguments) noexcept {
  if (callback == nullptr) {
    return otherwise;
  }
  try {
    return callback(arguments...);
  } catch (...) {
    return otherwise;
  }
}

}  // namespace koln

#endif
