// The entry point of every DLL of the family. All set-up is done by static
// initialisers; the modules want no per-thread attach and detach calls.
#include "win32.h"

extern "C" BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID /*reserved*/) {
  if (reason == DLL_PROCESS_ATTACH) ::DisableThreadLibraryCalls(module);
  return TRUE;
}
