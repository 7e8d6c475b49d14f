// Load hook of the Windows DLL build. On process attach the library's whole
// work is to turn off thread attach/detach notifications; it keeps no state that
// needs setting up, and on detach it does nothing. On Linux nothing runs at load.
#include <windows.h>

extern "C" BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID) {
  if (reason == DLL_PROCESS_ATTACH) DisableThreadLibraryCalls(module);
  return TRUE;
}
