/// \class ORV::Config
/// Config: an application's settings store in memory. Named sections hold
/// named keys, each with a text value and a flag that tells a default from a
/// value of the application's own:
///
/// \code
///   section  ->  key  ->  (value, isDefault)
/// \endcode
///
/// Section and key names are compared case-insensitively (WNoCase): "[Main]"
/// and "[MAIN]" are one section, and a name keeps the spelling it was first
/// stored with. Maps iterate in WNoCase order. A persistent form derives from
/// this class and overrides Save (ORVFile's ConfigFile writes INI files).
///
/// How the operations treat defaults, as users of a settings store expect:
/// \code
///   - Defaults lie under values. LoadDefault installs defaults; a key that
///     already holds a value of its own keeps it, a key without one shows the
///     default (flag true). A later LoadDefault replaces earlier defaults.
///   - SetValue always stores a value of the application's own (flag false),
///     also when it equals the default: a value the user pinned survives a
///     change of the defaults in a later version.
///   - RemoveKey and RemoveSection remove values of the application's own;
///     what had a default shows the default again.
///   - Merge lays another map over this one: its own values overwrite, its
///     defaults only fill keys that hold nothing yet (a default never
///     overwrites a value), and its sections are created, empty ones included.
///   - FindDefaults lists the keys of a section that show a default. A saving
///     class leaves them out of its file, so that loading the file again with
///     the same defaults gives back this very store. A section that holds only
///     defaults is therefore not written either; a section with no keys at all
///     is written, empty.
/// \endcode
/// Stored values never hold `"\r":` SetValue, LoadDefault and Merge turn `"\r\n"`
/// and a lone `"\r"` into `"\n",` the separator of a value of several lines.
///
/// The store also keeps a reference copy of its values (SetReference, taken by
/// a loader after loading and after each save): IsModified tells whether the
/// values have changed since.
///
/// Memory: a map that a loader fills (NewValues) lives in an arena of large
/// blocks from the family's memory pool (ORVMemoryPool.h), with its names and
/// values: a load costs a few block allocations instead of three heap blocks
/// per key, and blocks a store gave back serve the next load warm. Hence the
/// texts' polymorphic allocator (Config::String). A changed map, and any copy
/// of one, lives on the heap as usual.
///
/// Ownership: a value type. A copy, and the reference copy, share the values
/// with the original until one of them changes (copy on write), so copying
/// and taking the reference cost nothing; the first change after either
/// copies the map once. Objects may also be shared through SmartPtr (the count
/// is RefCounted's, interlocked): a loader takes its defaults as
/// `SmartPtrToConst<Config>.` Not locked: one thread at a time may change a
/// store; const calls from several threads at once are safe, and so are
/// copies used on different threads.
#pragma once

#include <map>
#include <memory>
#include <memory_resource>
#include <string>
#include <string_view>
#include <utility>

#include "ORVBaseException.h"
#include "ORVCoreDefs.h"
#include "ORVRefCount.h"
#include "ORVSmartPtr.h"
#include "ORVWNoCase.h"

namespace ORV {

class ORV_CORE_API Config : public RefCounted {
 public:
  /// A name or a value: a std::wstring on the map's allocator (it converts
  /// to std::wstring_view; `std::wstring(text)` makes a plain copy).
  using String = std::pmr::wstring;
  /// The text and whether it is a default.
  using Value = std::pair<String, bool>;
  /// The keys of one section.
  using Keys = std::pmr::map<String, Value, WNoCase>;
  /// Every section.
  using Map = std::pmr::map<String, Keys, WNoCase>;

  /// The root of the store's failures. As in the FileException family, a
  /// copy (copy constructor, Copy, Throw) keeps only the message text; an
  /// assignment carries the text, the type name and the shared MessageInfo.
  class ORV_CORE_API ConfigException : public Exception {
   public:
    /// The type name the exception carries.
    static const char* ClassName() noexcept { return "ConfigException"; }

    /// A failure told by its text alone (Save of the plain store).
    explicit ConfigException(const std::wstring& text);
    /// A failure described by a catalogue record.
    ConfigException(const SmartPtr<MessageInfo>& info, const char* typeName);
    ///@{
    /// See the copying rule above.
    ConfigException(const ConfigException& other);
    ConfigException& operator=(const ConfigException& other);
    ///@}
    ~ConfigException() override;

    BaseException* Copy() const override;
    void Throw() const override;
  };

// The failures of a persistent form, raised by the class that owns the
// format (ORVFile's ConfigFile: catalogue messages 0 and 14 of "ORVFile").
#define ORV_CONFIG_DEFINE_EXCEPTION(Name)                                                              \
  class Name : public ConfigException {                                                                \
   public:                                                                                             \
    static const char* ClassName() noexcept { return #Name; }                                          \
    Name(const SmartPtr<MessageInfo>& info, const char* typeName) : ConfigException(info, typeName) {} \
    Name(const Name& other) : ConfigException(other) {}                                                \
    Name& operator=(const Name& other) = default;                                                      \
    ~Name() override = default;                                                                        \
    BaseException* Copy() const override { return CopyOf(*this); }                                     \
    void Throw() const override { throw *this; }                                                       \
  }

  /// The source can neither be opened nor created, or not written.
  ORV_CONFIG_DEFINE_EXCEPTION(CannotOpenSourceException);
  /// The source does not follow the format.
  ORV_CONFIG_DEFINE_EXCEPTION(InvalidConfigException);

#undef ORV_CONFIG_DEFINE_EXCEPTION

  /// Empty and unmodified.
  Config();
  /// values as they stand, flags included, `"\r"` normalised; they are also
  /// the reference copy, so the store starts unmodified.
  explicit Config(Map values);
  /// Shares other's values until either changes; the reference copy too.
  Config(const Config& other);
  /// Strong guarantee: on a throw this store is unchanged.
  Config& operator=(const Config& other);
  ~Config() override;

  /// True when the section exists (it may be empty).
  bool HasSection(std::wstring_view section) const;
  /// True when the key shows a value or a default.
  bool HasKey(std::wstring_view section, std::wstring_view key) const;
  /// The value, or fallback when the key is absent.
  std::wstring GetValue(std::wstring_view section, std::wstring_view key,
                        const std::wstring& fallback = std::wstring()) const;
  /// True when the key shows a default.
  bool IsDefault(std::wstring_view section, std::wstring_view key) const;
  /// What the store shows: values, and defaults where no value hides them.
  const Map& Values() const;
  /// Every default installed, also those a value of the application hides.
  const Map& Defaults() const;

  /// Creates the section (empty) when it is missing.
  void AddSection(std::wstring_view section);
  /// Creates the section when it is missing; the value becomes the
  /// application's own.
  void SetValue(std::wstring_view section, std::wstring_view key, std::wstring_view value);
  /// False when the key held no value of the application's own.
  bool RemoveKey(std::wstring_view section, std::wstring_view key);
  /// False when the section did not exist. Its defaults, if any, stay.
  bool RemoveSection(std::wstring_view section);

  /// Installs every key of defaults as a default (flags ignored), see above.
  void LoadDefault(const Map& defaults);
  /// Lays other over this store, see above.
  void Merge(const Map& other);
  /// The keys of section that show a default, with their values; empty when
  /// the section does not exist.
  Keys FindDefaults(std::wstring_view section) const;

  /// True when the values differ from the reference copy.
  bool IsModified() const;

  /// Writes the store to path, over the file there when merge is false,
  /// merged with its content when true. The plain store has no persistent
  /// form: this throws ConfigException "Config::Save : Not implemented!".
  virtual void Save(const std::string& path, bool merge);

 protected:
  /// Replaces the values by an empty map in a fresh arena (see Memory above)
  /// and returns it, for a loader to fill. Build its nodes with the map's
  /// allocator, a Value's text too (a pair does not pass the allocator on):
  /// `keys.emplace(String(name, alloc), Value(String(text, alloc), false))`.
  /// Values must hold no `"\r"` (a loader's lines never do): nothing is
  /// normalised, so that loading does not walk every value once more. Call
  /// SetReference when it is filled: from then on the map is shared with the
  /// reference copy, so it is never changed in place and the arena, which
  /// frees nothing before it goes, holds no dead objects.
  Map& NewValues();
  /// Records the values as the reference copy.
  void SetReference();

 private:
  /// The values, unshared first when a copy or the reference copy holds them too.
  Map& Own();
  void Swap(Config& other) noexcept;
  void InstallDefault(std::wstring_view section, std::wstring_view key, std::wstring_view value);

  // Shared, never null: copies and the reference copy share one map until a
  // change, so that loading and copying do not copy every value.
  std::shared_ptr<Map> m_values;
  Map m_defaults;
  std::shared_ptr<const Map> m_reference;
};

}  // namespace ORV
