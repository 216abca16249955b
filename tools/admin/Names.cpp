#include "tools/admin/Names.h"

#include <algorithm>
#include <array>

#include "common/Text.h"
#include "tools/admin/Failure.h"

namespace tarnwick::admin {
namespace {

// Sizes of the records' text fields, terminators not counted.
constexpr std::size_t kNameLimit = 255;
constexpr std::size_t kIdLimit = 63;

bool IsControl(char letter) {
    return (letter >= 0 && letter < ' ') || letter == '\x7f';
}

bool HasControl(std::string_view text) {
    return std::any_of(text.begin(), text.end(), IsControl);
}

// Devices that Windows finds in every folder, with any extension and spaces in front of it.
bool IsDeviceName(std::string_view name) {
    static constexpr std::array<std::string_view, 4> kDevices{"con", "prn", "aux", "nul"};
    const std::string_view front = name.substr(0, name.find('.'));
    const std::string_view stem = front.substr(0, front.find_last_not_of(' ') + 1);
    if (stem.size() == 4 && stem[3] >= '1' && stem[3] <= '9') {
        return StartsWithIgnoreCase(stem, "com") || StartsWithIgnoreCase(stem, "lpt");
    }
    return std::any_of(kDevices.begin(), kDevices.end(),
                       [stem](std::string_view device) { return EqualsIgnoreCase(stem, device); });
}

bool EndsWithIgnoreCase(std::string_view text, std::string_view end) {
    return text.size() >= end.size() &&
           EqualsIgnoreCase(text.substr(text.size() - end.size()), end);
}

std::string ProblemWithFileName(std::string_view name, std::size_t limit) {
    if (name.empty()) return "is empty";
    if (name.size() > limit) return "is longer than " + std::to_string(limit) + " characters";
    if (HasControl(name)) return "holds a control character";
    if (name.find_first_of("\\/:*?\"<>|") != name.npos) return "holds one of \\ / : * ? \" < > |";
    if (name.find("..") != name.npos) return "holds \"..\"";
    if (name.back() == '.' || name.back() == ' ') return "ends in a dot or a space";
    if (IsDeviceName(name)) return "is the name of a device";
    return {};
}

void CheckFileName(const std::string& kind, std::string_view name, std::size_t limit) {
    const std::string problem = ProblemWithFileName(name, limit);
    if (problem.empty()) return;
    throw WrongUsage("the " + kind + " name \"" + std::string(name) + "\" " + problem);
}

}  // namespace

Mailbox ParseMailbox(std::string_view text) {
    const std::size_t slash = text.find('/');
    if (slash == text.npos) {
        throw WrongUsage("\"" + std::string(text) +
                         "\" is not a mailbox; write it as postoffice/mailbox");
    }
    Mailbox mailbox{std::string(text.substr(0, slash)), std::string(text.substr(slash + 1))};
    CheckFileName("postoffice", mailbox.postoffice, kNameLimit);
    CheckFileName("mailbox", mailbox.name, kNameLimit);
    return mailbox;
}

std::string ProblemWithId(std::string_view id) {
    if (id.empty()) return "is empty";
    if (id.size() > kIdLimit) return "is longer than 63 characters";
    if (HasControl(id)) return "holds a tab, a line break or another control character";
    return {};
}

void CheckId(std::string_view id) {
    const std::string problem = ProblemWithId(id);
    if (problem.empty()) return;
    throw WrongUsage("the entry ID \"" + std::string(id) + "\" " + problem);
}

void CheckCalendarName(std::string_view name) {
    CheckFileName("calendar", name, kIdLimit);
}

void CheckFolderName(std::string_view name) {
    CheckFileName("folder", name, kNameLimit);
}

void CheckItemName(std::string_view name) {
    static constexpr std::array<std::string_view, 5> kReserved{".cal", ".tmp", ".bak", ".old",
                                                               ".blk"};
    CheckFileName("item", name, kIdLimit);
    const bool reserved =
        EqualsIgnoreCase(name, "_CHANGE.DTY") ||
        std::any_of(kReserved.begin(), kReserved.end(),
                    [name](std::string_view end) { return EndsWithIgnoreCase(name, end); });
    if (!reserved) return;
    throw WrongUsage("the item name \"" + std::string(name) +
                     "\" belongs to a calendar; take another extension, such as .TXT");
}

}  // namespace tarnwick::admin
