// The module's entry point: no per-thread notifications, nothing else to do.
#include "win32.h"

#include "ORVCoreDefs.h"

extern "C" BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID /*reserved*/) {
  if (reason == DLL_PROCESS_ATTACH) ::DisableThreadLibraryCalls(module);
  return TRUE;
}
