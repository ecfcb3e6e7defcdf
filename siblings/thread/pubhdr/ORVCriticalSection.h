/// \class ORV::CriticalSection
/// CriticalSection: a Win32 critical section, owned, with a spin count (a
/// waiter spins that many times before it sleeps, which pays when the section
/// is held for a few hundred cycles, as a queue or list lock is).
/// CriticalSectionLock holds one for a scope.
///
/// Recursive, as all Win32 critical sections: the owning thread may enter
/// again, and must leave as often. Not copyable, not movable (the system keeps
/// the section's address). The destructor deletes the section; nobody may hold
/// it then. Construction throws LastErrorException when the system refuses.
#pragma once

#include "ORVThreadDefs.h"

namespace ORV {

class ORV_THREAD_API CriticalSection {
 public:
  /// spinCount: how often a waiter spins before it sleeps.
  explicit CriticalSection(unsigned long spinCount);
  CriticalSection(const CriticalSection&) = delete;
  CriticalSection& operator=(const CriticalSection&) = delete;
  ~CriticalSection();

  /// Waits until the calling thread holds the section (again, if it already does).
  void Enter() noexcept;
  /// Leaves once; the owner leaves as often as it entered.
  void Leave() noexcept;
  /// Enters when nobody else holds the section; never waits.
  [[nodiscard]] bool TryEnter() noexcept;

 private:
  // A CRITICAL_SECTION, kept here so that this header needs no <windows.h>;
  // the source checks the size.
  alignas(8) unsigned char m_section[40];
};

/// Holds a CriticalSection from construction to destruction. Header-only by
/// design: two calls into the exported class.
class CriticalSectionLock {
 public:
  /// Enters section; the destructor leaves it.
  explicit CriticalSectionLock(CriticalSection& section) noexcept : m_section(section) { m_section.Enter(); }
  CriticalSectionLock(const CriticalSectionLock&) = delete;
  CriticalSectionLock& operator=(const CriticalSectionLock&) = delete;
  ~CriticalSectionLock() { m_section.Leave(); }

 private:
  CriticalSection& m_section;
};

}  // namespace ORV
