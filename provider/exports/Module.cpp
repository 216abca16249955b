#include "common/WindowsApi.h"
#include "provider/ModuleState.h"

extern "C" BOOL WINAPI DllMain(HINSTANCE /*module*/, DWORD reason, LPVOID /*reserved*/) try {
    return tarnwick::OnModuleNotification(reason) ? TRUE : FALSE;
} catch (...) {
    return FALSE;
}
