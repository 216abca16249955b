// The functions that clients ask the service for, and what their arguments may hold.
#pragma once

#include <cstddef>
#include <span>
#include <string_view>
#include <vector>

namespace tarnwick::service {

// A text field of a record that becomes part of a path.
struct NameField {
    std::size_t offset;
    std::size_t size;
};

struct RecordLayout {
    std::size_t size;
    std::span<const NameField> names;
};

struct RemoteFunction {
    std::string_view name;
    const RecordLayout* record;  // of every argument; null when the library has no such function
    int argumentCount;
    bool sendsRecordBack;
};

// The function of that name, spelled exactly so; null when clients never ask for it.
const RemoteFunction* FindRemoteFunction(std::string_view name);

// Those that the library exports, for whoever calls them.
std::vector<const RemoteFunction*> OfferedFunctions();

// Whether a name may become part of a path: it leaves its folder by no separator, drive or "..",
// and names no device.
bool IsSafeName(std::string_view name);

// Whether all names in the bytes of such a record are safe.
bool HasSafeNames(const RecordLayout& layout, std::span<const std::byte> record);

}  // namespace tarnwick::service
