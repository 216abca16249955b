#include <cstddef>

#include "common/FileBytes.h"
#include "common/WindowsApi.h"
#include "provider/ModuleState.h"

#ifdef __GLIBCXX__
// The runtime in the module sets memory aside when it is loaded, for exceptions that are thrown
// when there is no more, and does not give it back by itself.
namespace __gnu_cxx {
void __freeres();
}
#endif

namespace {

void ReleaseRuntimeReserve() {
#ifdef __GLIBCXX__
    __gnu_cxx::__freeres();
#endif
}

}  // namespace

extern "C" BOOL WINAPI DllMain(HINSTANCE /*module*/, DWORD reason, LPVOID reserved) try {
    const bool accepted = tarnwick::OnModuleNotification(reason);
    // At the end of the process, unlike at an unload, the system takes everything back.
    if (reason == DLL_PROCESS_DETACH && reserved == nullptr) {
        tarnwick::FileBytes::FreeKept();
        ReleaseRuntimeReserve();
    }
    return accepted ? TRUE : FALSE;
} catch (...) {
    return FALSE;
}
