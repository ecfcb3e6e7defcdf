/// \class ORVFile::ConfigFile
/// ConfigFile: the core library's settings store (Config, see ORVConfig.h)
/// with a persistent form, an INI-style text file of one byte per character:
///
/// ~~~
///   ; comments start with ";" as the first character that is not a blank
///   [Network]
///     port   = 80
///   path = c:\data          <- a key repeated on further lines makes one value
///   path = d:\backup           of several lines: "c:\data\nd:\backup"
/// ~~~
///
/// A line is what a whole-line match (regex_match, Boost.Regex) of these
/// three expressions makes of it:
/// ~~~
///   section          "[[:blank:]]*\[(.+)\][[:blank:]]*$"
///   key = value
///   "[[:blank:]]*([A-Za-z0-9_.]+)[[:blank:]]*=[[:blank:]]*([^[:blank:]]+(?:[[:blank:]]+[^[:blank:]]+)*|$)[[:blank:]]*$"
///   blank, comment   "[[:blank:]]*$|[[:blank:]]*;.*$"
/// ~~~
/// "[[:blank:]]" is exactly space and tab (not U+00A0 or U+3000, which
/// Boost's own class takes in some locales). The library reads each line with
/// a scanner that is these expressions followed by hand (a test loads random
/// sources both ways): at most one can match, and the first unit that is not a
/// blank tells which. Unlike Boost's backtracking, which runs out of stack on
/// a value of some 55,000 words, it reads a line of any length. Consequences: a section name is what
/// lies between the first "[" and the last "]" ("[a [b] ]" names "a [b] ");
/// keys are ASCII letters, digits, "_" and "." ("my-key = 1" is invalid); a
/// value loses its outer blanks and keeps inner ones, ";" included; "#" does
/// not start a comment. Lines end at `"\n"` or `"\r"` (so `"\r\n"` too) and empty
/// lines are dropped before the grammar sees them. A file is read byte for
/// byte, each byte one unit: no byte-order mark, no UTF-8 decoding. It is read
/// in blocks of 64 KiB straight into the store, with no copy of the whole file.
///
/// Loading raises Config::InvalidConfigException (message 14 of "ORVFile")
/// when a section comes twice (case-insensitively) or a line matches no
/// expression, a key line before the first section included; it raises
/// Config::CannotOpenSourceException (message 0, `%1` the path, the Win32 error
/// recorded) when the file can neither be read nor created. A load that fails
/// builds nothing.
///
/// Saving (Save) keeps the layout of the file it writes over: the order of
/// sections and keys, comments, the text in front of a changed key's "=";
/// deleted keys and sections go (comment lines inside a deleted section stay),
/// new keys come at the end of their section, new sections at the end of the
/// file after one empty line, and every kept section header after exactly one
/// empty line. A value of several lines is written as its key repeated, empty
/// lines of it dropped. Line ends are CR LF. Defaults (Config::FindDefaults)
/// are not written.
///
/// Decisions of this library on what the format leaves open:
///   - A missing file is created empty, never truncated: an existing file
///     that merely cannot be read is left alone and reported.
///   - Save writes to the file the path finally names (through symbolic
///     links, GetFinalPathNameByHandle), so a link stays a link: a temporary
///     file ("cfg*.tmp") in that file's directory, flushed to disk, given the
///     file's hidden, system, archive and not-indexed attributes, and moved
///     over it (MoveFileEx). A failed save (open, write, disk full) raises
///     CannotOpenSourceException and leaves the old file as it was. A
///     read-only file is refused (ERROR_ACCESS_DENIED) as Windows refuses to
///     move over it; the library checks, since Wine 8 would replace it. The
///     new file has the security of a new file in that directory.
///   - Save refuses, with InvalidConfigException and before touching the
///     file, a store that the grammar could not read back: a key outside
///     [A-Za-z0-9_.], an empty section name, a section name with `"\r"` or `"\n"`.
///   - Save with merge reads the file there first; when that file does not
///     follow the grammar it raises InvalidConfigException and writes nothing.
///   - A unit above U+00FF (only a buffer loaded as UTF-8 or UTF-16, or the
///     application, can bring one) is written as "?".
///   - Loaded values carry flag false; the store's reference copy is taken
///     after each load and each save, so IsModified tells whether to save.
///
/// Ownership and threads: a value like Config; the file is open only inside a
/// call. One thread at a time per object.
#pragma once

#include <string>

#include "ORVBinaryStreamBuf.h"
#include "ORVCharset.h"
#include "ORVConfig.h"
#include "ORVFileDefs.h"

namespace ORVFile {

class ORVFILE_API ConfigFile : public ORV::Config {
 public:
  /// An empty store with no path.
  ConfigFile();
  /// Loads path (creating it empty when missing), then installs the
  /// defaults' values under the loaded ones.
  explicit ConfigFile(const std::string& path, ORV::SmartPtrToConst<ORV::Config> defaults = nullptr);
  /// Loads the whole of source: with CHARSET_UTF16 the units from the read
  /// position on, as they stand (little-endian); with any other set the bytes
  /// from the start, converted by ORV::ConvertToWide (an unknown set raises
  /// its ORV::Exception). The path stays empty.
  ConfigFile(ORV::BinaryStreamBuf& source, const ORV::CHARSET& charset);
  /// The store, values, defaults and reference copy; no path.
  explicit ConfigFile(const ORV::Config& other);
  /// As Config's copy (values shared until either changes), and the path.
  ConfigFile(const ConfigFile& other);
  /// Strong guarantee.
  ConfigFile& operator=(const ConfigFile& other);
  ~ConfigFile() override;

  /// The file this store was loaded from; empty when it came from elsewhere.
  const std::string& Path() const;

  /// Writes the store to path as described above. With merge and an existing
  /// file there, the file's values are read first, this store's defaults
  /// installed under them and this store merged over them (Config::Merge),
  /// so keys that only the file has survive. On success the reference copy
  /// is taken.
  void Save(const std::string& path, bool merge) override;

 private:
  /// The file at path, loaded, with this store's defaults and values over it.
  Config MergedWithFile(const std::string& path) const;

  std::string m_path;
};

}  // namespace ORVFile
