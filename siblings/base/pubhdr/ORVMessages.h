/// \class ORV::ORVMessages
/// ORVMessages: the process-wide registry of message catalogues, and
/// ORVMessagesInit, the guard through which every module counts itself as a
/// user of it.
///
/// A module's catalogue is a blob (all integers little-endian, no padding):
/// \code
///   u32 record count, then per record:
///   u32 module-name length in bytes, the module name (8-bit, no terminator),
///   u32 message number, u32 and u8 fixed fields (written as 2 and 1, not
///   checked on reading), u32 text length in bytes (even), the text in
///   UTF-16LE (no terminator), u8 closing byte (written as 0).
/// \endcode
/// The records must end exactly at the blob's size; a blob that does not
/// parse is refused whole, and a line naming its registration name goes to
/// the debugger (OutputDebugString).
///
/// Lifetime: the first user calls Init, users Load their catalogues, the last
/// user calls Free. ORVMessagesInit::m_cnt counts the users of every module in
/// the process; it is changed only while modules load and unload, which the
/// system serialises. Find and Format may be called from any thread.
#pragma once

#include <string>

#include "ORVBaseDefs.h"
#include "ORVMessageInfo.h"

namespace ORV {

class ORV_BASE_API ORVMessages {
 public:
  /// Creates an empty registry (replacing one that is already there).
  static void Init();
  /// Adds the messages of a catalogue blob; a message already registered
  /// under the same module and number is replaced. Returns false, and adds
  /// nothing, when the registry is not initialised or the blob is malformed.
  static bool Load(const unsigned char* blob, unsigned int size, const char* name);
  /// Releases the registry and every text loaded into it.
  static void Free();

  /// True between Init and Free.
  static bool IsInitialized();
  /// The text registered for (module, number), without its placeholders filled.
  static bool Find(const char* module, unsigned int number, std::wstring& text);
  /// The text of a record with `"%1".."%9"` replaced by its arguments in one
  /// pass (an argument's own `"%n"` stays as it is; a placeholder without an
  /// argument is kept). An unregistered message gives a text that names the
  /// module, the number and the arguments.
  static std::wstring Format(const MessageInfo& info);
};

/// The guard every module holds while it uses the registry (see ORVMessages).
class ORV_BASE_API ORVMessagesInit {
 public:
  /// Counts one more user; the first user initialises the registry.
  ORVMessagesInit();
  /// The same, then loads the given catalogue (every time, first user or not).
  ORVMessagesInit(const unsigned char* blob, unsigned int size, const char* name);
  /// Counts one user less; the last user frees the registry.
  ~ORVMessagesInit();
  ORVMessagesInit(const ORVMessagesInit&) = delete;
  ORVMessagesInit& operator=(const ORVMessagesInit&) = delete;

  /// The users of the registry in the process, every module together.
  static int m_cnt;
};

}  // namespace ORV
