#include "tools/admin/RecordFields.h"

#include <algorithm>
#include <cstdint>
#include <span>

#include "common/Text.h"
#include "tools/admin/Times.h"
#include "twaicp.h"

namespace tarnwick::admin {
namespace {

enum class FieldKind { Text, Number, Time };

struct Field {
    const char* name;
    std::size_t offset;
    std::size_t size;
    FieldKind kind;
};

#define TARNWICK_FIELD(record, name, kind) \
    { #name, offsetof(record, name), sizeof(record::name), FieldKind::kind }

constexpr Field kAppointment[] = {TARNWICK_FIELD(AppointmentRecord, mailbox, Text),
                                  TARNWICK_FIELD(AppointmentRecord, postoffice, Text),
                                  TARNWICK_FIELD(AppointmentRecord, start, Time),
                                  TARNWICK_FIELD(AppointmentRecord, end, Time),
                                  TARNWICK_FIELD(AppointmentRecord, appointmentId, Text),
                                  TARNWICK_FIELD(AppointmentRecord, calendarName, Text)};
constexpr Field kItem[] = {TARNWICK_FIELD(AppointmentItemRecord, mailbox, Text),
                           TARNWICK_FIELD(AppointmentItemRecord, postoffice, Text),
                           TARNWICK_FIELD(AppointmentItemRecord, itemFileName, Text),
                           TARNWICK_FIELD(AppointmentItemRecord, data, Text),
                           TARNWICK_FIELD(AppointmentItemRecord, length, Number)};
constexpr Field kFreeBusy[] = {
    TARNWICK_FIELD(FreeBusyRecord, mailbox, Text), TARNWICK_FIELD(FreeBusyRecord, postoffice, Text),
    TARNWICK_FIELD(FreeBusyRecord, namePrefix, Text), TARNWICK_FIELD(FreeBusyRecord, result, Text),
    TARNWICK_FIELD(FreeBusyRecord, resultLength, Number)};
// A result, or a position.
constexpr Field kNumber[] = {{"number", 0, sizeof(std::int32_t), FieldKind::Number}};

#undef TARNWICK_FIELD

std::span<const Field> FieldsOf(std::size_t size) {
    switch (size) {
        case sizeof(AppointmentRecord):
            return kAppointment;
        case sizeof(AppointmentItemRecord):
            return kItem;
        case sizeof(FreeBusyRecord):
            return kFreeBusy;
        case sizeof(std::int32_t):
            return kNumber;
        default:
            return {};
    }
}

std::string ValueOf(FieldKind kind, std::string_view bytes) {
    if (kind == FieldKind::Text) {
        const std::string_view text = UpToNul(bytes);
        return QuotedBriefly(text) + (text.size() == bytes.size() ? ", without a terminator" : "");
    }
    std::uint32_t bits = 0;
    for (std::size_t at = bytes.size(); at-- > 0;) {
        bits = bits << 8 | static_cast<unsigned char>(bytes[at]);
    }
    const auto number = static_cast<std::int32_t>(bits);
    return std::to_string(number) + (kind == FieldKind::Time ? ", " + FormatTime(number) : "");
}

}  // namespace

std::vector<DumpRow> FieldRows(const std::string& what, std::string_view bytes) {
    std::vector<DumpRow> rows;
    for (const Field& field : FieldsOf(bytes.size())) {
        const std::string_view value = bytes.substr(field.offset, field.size);
        rows.push_back({field.offset, field.size,
                        what + field.name + " " + ValueOf(field.kind, value), std::string(value)});
    }
    if (rows.empty() && !bytes.empty()) {
        rows.push_back({0, bytes.size(), what + QuotedBriefly(bytes), std::string(bytes)});
    }
    return rows;
}

}  // namespace tarnwick::admin
