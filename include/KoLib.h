/// @file KoLib.h
/// What `libkoln.so` imports from the host's support library, `libKoLib.so`.
///
/// The project brings an embedded default (`hostsupport/`): a configuration store in one text file,
/// debug lines, critical events and a user look-up. A host that has its own store, log and user
/// directory replaces the library by one that implements these declarations.
///
/// Unless said otherwise a call may be made from any thread; one object serves one thread at a
/// time. Nothing here throws.
#ifndef KOLN_KOLIB_H
#define KOLN_KOLIB_H

/// Marks what `libKoLib.so` exports.
#ifndef KOLIB_API
#define KOLIB_API __attribute__((visibility("default")))
#endif

struct passwd;

/// The host's current configuration context.
class KOLIB_API KOPI_Focus {
 public:
  ~KOPI_Focus();

  /// The current focus as a terminated text; never null. Owned by the support library and valid for
  /// the life of the process.
  static const char* getFocus();
};

/// Reader of the configuration store: texts addressed by a key (a section) and a value name.
class KOLIB_API KOPlatformInfo {
 public:
  /// The arguments select the kind and version of the store; the library passes 0 and 1.
  KOPlatformInfo(int kind, int version);
  ~KOPlatformInfo();
  KOPlatformInfo(const KOPlatformInfo&) = delete;
  KOPlatformInfo& operator=(const KOPlatformInfo&) = delete;

  /// Selects the configuration context, normally `KOPI_Focus::getFocus()`. Null is ignored.
  void setFocus(const char* focus);

  /// Reads one value.
  /// @param key    Section of the store; null is the store's default key.
  /// @param name   Value name, compared letter for letter.
  /// @param buffer Receives the text and its terminator; not touched when nothing is found.
  /// @param length In: bytes that `buffer` holds, terminator included. Out, when found: bytes of
  ///               the text without terminator.
  /// @return Non-zero if the value was found and fits. On 0 `getLastErrorMsg` says why.
  int getString(const char* key, const char* name, char* buffer, unsigned int& length);

  /// Why the last `getString` of this object found nothing, as one line; empty after a success,
  /// never null. Owned by this object and valid until its next call.
  const char* getLastErrorMsg();

 private:
  void* state_;  // Belongs to the support library.
};

/// Writer of the host's debug log. Formats without limit or cuts safely; never fails.
class KOLIB_API EvDebug {
 public:
  ~EvDebug();

  /// Writes one debug line; printf format.
  void debug(const char* format, ...) __attribute__((format(printf, 2, 3)));

  /// Writes one error line that begins with the name of the reporting function; printf format.
  void Error(const char* function, const char* format, ...) __attribute__((format(printf, 3, 4)));
};

/// Writer of debug lines that can also raise events for the operator.
class KOLIB_API EvEvent : public EvDebug {
 public:
  EvEvent();
  ~EvEvent();

  /// Raises a critical event. The library raises 0x2A000001 (notes.ini missing) with two zeros.
  void CriticalEvent(unsigned int code, unsigned long first, unsigned long second);
};

/// Looks a Unix user up.
/// @return The password entry, owned by the support library and valid until the next call of the
///         same thread, or null with `errno` set (0 = there is no such user).
KOLIB_API struct passwd* KO_getpwnam(const char* user);

#endif
