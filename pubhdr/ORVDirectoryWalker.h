/// \class ORVFile::DirectoryWalker
/// DirectoryWalker: visits the files under a directory, depth first, and hands
/// each to every registered handler. Directories are entered, never handed.
///
/// Order. The walk follows Path::GetFileList (ORVBasePath.h): entries sorted by
/// name, a subdirectory walked whole at its place among its parent's entries.
/// The pattern applies at every level, to directories too: with "*.txt" a
/// subdirectory is entered only if its own name matches. DEFAULT_PATH_FILTER,
/// "*.*", takes everything.
///
/// Handlers. Each file goes to every handler, in the order they were added (a
/// handler added twice is called twice); a handler added during a Walk is
/// called from the next Walk on. The last handler's answer decides: true goes
/// on, false stops, whatever the earlier handlers answered:
/// ~~~
///   A false, B true  -> the walk goes on;   A true, B false -> it stops after this file.
/// ~~~
/// Handlers are counted objects (ORV::RefCounted): create them with new and
/// hold them in SmartPtr; the walker keeps a reference until it goes.
///
/// Resuming. With startFrom, files before that file in walk order are
/// skipped, and subdirectories off the route to it are not entered; the start
/// file itself is the first one handled. The comparison ignores the case of
/// letters (ORV::ToLower) and is made on normalised texts, so startFrom must be
/// spelt from the same directory text as the walk: a full path for a full
/// directory, a relative one for a relative directory.
/// ~~~
///   Walk("C:\\t", "*.*", true, "c:/T/sub/b.txt")
///     C:\t\a.txt skipped, C:\t\other\ not entered, C:\t\sub\a.txt skipped,
///     C:\t\sub\b.txt handled first, then everything after it.
/// ~~~
/// A startFrom that names no file the walk meets means nothing is handled.
///
/// State. Stopped and start-reached belong to the walker, not to one walk:
/// after a stop every later Walk returns at once; once the start file is
/// reached, later walks ignore their startFrom. Use a new walker for a new walk.
///
/// Threads and failures. One thread walks; Stop may be called from any other
/// thread, and the walk stops before its next entry. A Stop stands: a
/// handler's true answer does not undo it. Exceptions of the listing
/// (the FileException family) and of handlers leave Walk at once, the flags as
/// they were. A directory removed while the walk runs lists nothing; its files
/// are not handed.
#pragma once

#include <atomic>
#include <cstddef>
#include <string>
#include <vector>

#include "ORVFileDefs.h"
#include "ORVPath.h"
#include "ORVRefCount.h"
#include "ORVSmartPtr.h"

namespace ORVFile {

/// What a walk hands each file to; derive from it and register with
/// DirectoryWalker::AddHandler. Called on the walking thread.
class ORVFILE_API DirectoryWalkerHandler : public ORV::RefCounted {
 public:
  /// True to go on, false to stop the walk (see the rule above).
  virtual bool HandleFile(const Path& file) = 0;

 protected:
  DirectoryWalkerHandler();
  ~DirectoryWalkerHandler() override;
};

class ORVFILE_API DirectoryWalker {
 public:
  static const char DEFAULT_PATH_FILTER[];  ///< "*.*"

  DirectoryWalker();
  DirectoryWalker(const DirectoryWalker&) = delete;
  DirectoryWalker& operator=(const DirectoryWalker&) = delete;
  ~DirectoryWalker();

  /// Appends handler and keeps a reference to it until the walker goes. A
  /// handler added during a Walk is called from the next Walk on.
  void AddHandler(const SmartPtr<DirectoryWalkerHandler>& handler);
  /// recursive false: the files of directory only. startFrom "": from the first file.
  void Walk(const Path& directory, const std::string& pattern, bool recursive, const std::string& startFrom);
  /// Stops the walk in progress before its next entry, and every later Walk;
  /// any thread. There is no undoing it.
  void Stop();
  /// Whether Stop was called or a handler's last answer was false; any thread.
  bool HasBeenStopped() const;

 private:
  void WalkDirectory(const Path& directory, const std::string& pattern, bool recursive, std::size_t handlerCount);
  void HandleFile(const Path& file, std::size_t handlerCount);
  // Before the start is reached: whether the start file lies inside directory.
  bool LeadsToStart(const Path& directory) const;

  std::vector<SmartPtr<DirectoryWalkerHandler>> m_handlers;
  std::atomic<bool> m_stopped;
  bool m_startReached;
  // Lower case, normalised: the start file and its directory (with its separator).
  std::string m_startFile;
  std::string m_startDirectory;
};

}  // namespace ORVFile
