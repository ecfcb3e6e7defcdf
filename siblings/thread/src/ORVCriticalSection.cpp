#include "win32.h"

#include "ORVCriticalSection.h"

#include "ORVThreadException.h"

namespace ORV {
namespace {

static_assert(sizeof(CRITICAL_SECTION) == 40 && alignof(CRITICAL_SECTION) <= 8, "storage of CriticalSection");

CRITICAL_SECTION* Native(unsigned char* storage) { return reinterpret_cast<CRITICAL_SECTION*>(storage); }

}  // namespace

CriticalSection::CriticalSection(unsigned long spinCount) {
  // Only systems before Vista can fail here (out of memory for the event).
  if (!::InitializeCriticalSectionAndSpinCount(Native(m_section), spinCount))
    ThrowLastError("InitializeCriticalSectionAndSpinCount");
}

CriticalSection::~CriticalSection() { ::DeleteCriticalSection(Native(m_section)); }

void CriticalSection::Enter() noexcept { ::EnterCriticalSection(Native(m_section)); }

void CriticalSection::Leave() noexcept { ::LeaveCriticalSection(Native(m_section)); }

bool CriticalSection::TryEnter() noexcept { return ::TryEnterCriticalSection(Native(m_section)) != FALSE; }

}  // namespace ORV
