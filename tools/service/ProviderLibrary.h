// The calendar library that the service runs its clients' requests with.
#pragma once

#include <map>
#include <string>
#include <string_view>

#include "common/Handle.h"
#include "tools/service/ServiceSession.h"

namespace tarnwick::service {

// Loaded before the first connection, so that each connection's thread gets its own enumeration.
// Threads: any number at once.
class ProviderLibrary : public FunctionRunner {
  public:
    // Loads the file of that path. Throws std::runtime_error, naming the reason, when it is not the
    // calendar library.
    explicit ProviderLibrary(const std::string& path);

    // Gives 0, without a call, while a registry switch would send the call on to another server.
    std::int32_t Run(const RemoteFunction& function,
                     std::vector<std::vector<std::byte>>& records) override;

  private:
    using EntryPoint = void (*)();

    ModuleHandle module_;
    std::map<std::string_view, EntryPoint> entries_;
};

}  // namespace tarnwick::service
