#include "win32.h"

#include "ORVDirectoryWalker.h"

#include "ORVToLower.h"

namespace ORVFile {

namespace {

constexpr std::size_t kReservedHandlers = 16;

}  // namespace

const char DirectoryWalker::DEFAULT_PATH_FILTER[] = "*.*";

DirectoryWalkerHandler::DirectoryWalkerHandler() = default;
DirectoryWalkerHandler::~DirectoryWalkerHandler() = default;

DirectoryWalker::DirectoryWalker() : m_stopped(false), m_startReached(false) { m_handlers.reserve(kReservedHandlers); }

DirectoryWalker::~DirectoryWalker() = default;

void DirectoryWalker::AddHandler(const SmartPtr<DirectoryWalkerHandler>& handler) { m_handlers.push_back(handler); }

void DirectoryWalker::Stop() { m_stopped = true; }

bool DirectoryWalker::HasBeenStopped() const { return m_stopped; }

void DirectoryWalker::Walk(const Path& directory, const std::string& pattern, bool recursive,
                           const std::string& startFrom) {
  if (m_stopped) return;
  m_startReached = m_startReached || startFrom.empty();
  if (!m_startReached) {
    const Path start(startFrom);
    m_startFile = ORV::ToLower(start.FullPath());
    m_startDirectory = ORV::ToLower(start.Directory());
  }
  WalkDirectory(directory, pattern, recursive, m_handlers.size());
}

void DirectoryWalker::WalkDirectory(const Path& directory, const std::string& pattern, bool recursive,
                                    std::size_t handlerCount) {
  std::vector<Path> entries;
  directory.GetFileList(pattern, entries);
  for (const Path& entry : entries) {
    if (m_stopped) return;
    if (entry.IsFile()) {
      if (!m_startReached) m_startReached = ORV::ToLower(entry.FullPath()) == m_startFile;
      if (m_startReached) HandleFile(entry, handlerCount);
    } else if (recursive && entry.IsDirectory() && (m_startReached || LeadsToStart(entry))) {
      WalkDirectory(entry, pattern, recursive, handlerCount);
    }
  }
}

// Every handler sees the file; the last answer decides. A Stop that came
// meanwhile from another thread stands whatever the answers.
void DirectoryWalker::HandleFile(const Path& file, std::size_t handlerCount) {
  bool goOn = true;
  for (std::size_t i = 0; i < handlerCount; ++i) {
    // A copy: a handler that adds one may move the sequence under the call.
    const SmartPtr<DirectoryWalkerHandler> handler = m_handlers[i];
    goOn = handler->HandleFile(file);
  }
  if (!goOn) m_stopped = true;
}

// "c:\t\sub" leads to the start directory "c:\t\sub\deep\", not to "c:\t\sub2\".
bool DirectoryWalker::LeadsToStart(const Path& directory) const {
  const std::string inside = ORV::ToLower(directory.FullPath()) + directory.PathSeparator();
  return m_startDirectory.compare(0, inside.size(), inside) == 0;
}

}  // namespace ORVFile
