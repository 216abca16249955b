#include "tools/service/RemoteFunctions.h"

#include <algorithm>
#include <string>

#include "common/Scan.h"
#include "common/Text.h"
#include "twaicp.h"

namespace tarnwick::service {
namespace {

constexpr NameField kAppointmentNames[] = {
    {offsetof(AppointmentRecord, mailbox), sizeof AppointmentRecord::mailbox},
    {offsetof(AppointmentRecord, postoffice), sizeof AppointmentRecord::postoffice},
    {offsetof(AppointmentRecord, calendarName), sizeof AppointmentRecord::calendarName},
};
constexpr NameField kItemNames[] = {
    {offsetof(AppointmentItemRecord, mailbox), sizeof AppointmentItemRecord::mailbox},
    {offsetof(AppointmentItemRecord, postoffice), sizeof AppointmentItemRecord::postoffice},
    {offsetof(AppointmentItemRecord, itemFileName), sizeof AppointmentItemRecord::itemFileName},
};

constexpr RecordLayout kAppointment{sizeof(AppointmentRecord), kAppointmentNames};
constexpr RecordLayout kItem{sizeof(AppointmentItemRecord), kItemNames};

constexpr RemoteFunction kFunctions[] = {
    {"AppointmentAdd", &kAppointment, 1, true},
    {"AppointmentRemove", &kAppointment, 1, true},
    {"AppointmentEdit", &kAppointment, 2, false},
    {"AppointmentGet", &kAppointment, 1, true},
    {"AppointmentFindFirst", &kAppointment, 1, true},
    {"AppointmentFindNext", &kAppointment, 1, true},
    {"AppointmentItemGetFirstChunk", &kItem, 1, true},
    {"AppointmentItemGetNextChunk", &kItem, 1, true},
    {"AppointmentItemGetSize", &kItem, 1, true},
    {"AppointmentItemWriteFirstChunk", &kItem, 1, false},
    {"AppointmentItemWriteNextChunk", &kItem, 1, false},
    {"AppointmentListItemListSetPosition", nullptr, 1, false},
    {"AppointmentListItemListGetLength", nullptr, 1, false},
};

constexpr std::string_view kDevices[] = {"CON",    "PRN",     "AUX",  "NUL",
                                         "CONIN$", "CONOUT$", "COM0", "LPT0"};

// Whether opening the name would open a device: what counts is the part before the first dot.
bool IsDevice(std::string_view name) {
    std::string base(name.substr(0, FindByte(name, '.')));
    while (base.ends_with(' ')) base.pop_back();
    // The raised figures 1 to 3 count as well.
    const bool numbered =
        base.size() == 4 && FindByte("0123456789\xB9\xB2\xB3", base[3]) != kNotFound;
    if (numbered) base[3] = '0';
    return std::any_of(std::begin(kDevices), std::end(kDevices),
                       [&](std::string_view device) { return EqualsIgnoreCase(base, device); });
}

}  // namespace

const RemoteFunction* FindRemoteFunction(std::string_view name) {
    const auto* found = std::find_if(std::begin(kFunctions), std::end(kFunctions),
                                     [&](const RemoteFunction& f) { return f.name == name; });
    return found == std::end(kFunctions) ? nullptr : found;
}

std::vector<const RemoteFunction*> OfferedFunctions() {
    std::vector<const RemoteFunction*> offered;
    for (const RemoteFunction& function : kFunctions) {
        if (function.record != nullptr) offered.push_back(&function);
    }
    return offered;
}

bool IsSafeName(std::string_view name) {
    const bool leaves = FindEither(name, '\\', '/') != kNotFound ||
                        FindByte(name, ':') != kNotFound || FindText(name, "..") != kNotFound;
    return !leaves && !IsDevice(name);
}

bool HasSafeNames(const RecordLayout& layout, std::span<const std::byte> record) {
    const std::span text(reinterpret_cast<const char*>(record.data()), record.size());
    return std::all_of(layout.names.begin(), layout.names.end(), [&](const NameField& field) {
        return IsSafeName(FieldText(text.subspan(field.offset, field.size)));
    });
}

}  // namespace tarnwick::service
