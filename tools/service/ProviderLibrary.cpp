#include "tools/service/ProviderLibrary.h"

#include <stdexcept>

#include "remote/AdminHost.h"
#include "tools/service/RemoteFunctions.h"

namespace tarnwick::service {
namespace {

using OneRecord = std::uint32_t (*)(void*);
using TwoRecords = std::uint32_t (*)(void*, void*);

}  // namespace

ProviderLibrary::ProviderLibrary(const std::string& path) : module_(LoadLibraryA(path.c_str())) {
    if (!module_.IsValid()) {
        throw std::runtime_error("cannot load " + path + ": error " +
                                 std::to_string(GetLastError()));
    }
    for (const RemoteFunction* function : OfferedFunctions()) {
        const std::string name(function->name);
        const FARPROC entry = GetProcAddress(module_.Get(), name.c_str());
        if (entry == nullptr) throw std::runtime_error(path + " has no function " + name);
        entries_[function->name] = reinterpret_cast<EntryPoint>(entry);
    }
}

std::int32_t ProviderLibrary::Run(const RemoteFunction& function,
                                  std::vector<std::vector<std::byte>>& records) {
    // Sent on to the default host, a request could come back here for ever.
    if (IsDefaultHostForced(ExecutablePath()) != 0) return 0;
    const EntryPoint entry = entries_.at(function.name);
    const std::uint32_t result =
        function.argumentCount == 2
            ? reinterpret_cast<TwoRecords>(entry)(records[0].data(), records[1].data())
            : reinterpret_cast<OneRecord>(entry)(records[0].data());
    return static_cast<std::int32_t>(result);
}

}  // namespace tarnwick::service
