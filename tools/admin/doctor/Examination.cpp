#include "tools/admin/doctor/Examination.h"

#include <algorithm>
#include <array>
#include <limits>

#include "common/Text.h"
#include "common/WindowsApi.h"

namespace tarnwick::admin {
namespace {

constexpr std::int64_t kLastSecond = std::numeric_limits<std::int32_t>::max();
// 2024-01-01: a clock before it was never set.
constexpr std::int64_t kFirstSecond = 1704067200;

using AllAdvice = std::vector<Advice>;

// A backslash in front of the closing quote would take it for a letter.
std::string Quoted(const std::string& text) {
    return "\"" + text + (text.ends_with('\\') ? "\\\"" : "\"");
}

std::string ValueOption(const EffectiveSetting& value) {
    const std::string key = std::string(RootText(value.setting->root)) + "\\" + value.key;
    return Quoted(key) + " /v " + Quoted(value.setting->name);
}

std::string SetCommand(const EffectiveSetting& value, const std::string& data) {
    const bool isText = value.setting->type == ValueType::Text;
    return "reg add " + ValueOption(value) + " /t " + (isText ? "REG_SZ" : "REG_DWORD") + " /d " +
           (isText ? Quoted(data) : data) + " /f";
}

std::string DeleteCommand(const EffectiveSetting& value) {
    return "reg delete " + ValueOption(value) + " /f";
}

const char* RegistryType(std::uint32_t type) {
    static constexpr std::array<const char*, 12> kTypes{"REG_NONE",
                                                        "REG_SZ",
                                                        "REG_EXPAND_SZ",
                                                        "REG_BINARY",
                                                        "REG_DWORD",
                                                        "REG_DWORD_BIG_ENDIAN",
                                                        "REG_LINK",
                                                        "REG_MULTI_SZ",
                                                        "REG_RESOURCE_LIST",
                                                        "REG_FULL_RESOURCE_DESCRIPTOR",
                                                        "REG_RESOURCE_REQUIREMENTS_LIST",
                                                        "REG_QWORD"};
    return type < kTypes.size() ? kTypes[type] : "of no known type";
}

bool IsTextType(std::uint32_t type) {
    return type == REG_SZ || type == REG_EXPAND_SZ;
}

// The number that a person meant, who may have stored it as something else.
std::string MeantNumber(const EffectiveSetting& value) {
    const StoredValue& stored = *value.stored;
    if (stored.type == REG_DWORD && value.isTaken) return std::to_string(value.number);
    const std::string_view digits = UpToNul(stored.bytes);
    if (IsTextType(stored.type) && !digits.empty() && digits.size() < 10 &&
        digits.find_first_not_of("0123456789") == digits.npos) {
        return std::string(digits);
    }
    if (stored.type == REG_QWORD && stored.bytes.size() == sizeof(std::uint64_t)) {
        std::uint64_t number = 0;
        stored.bytes.copy(reinterpret_cast<char*>(&number), sizeof number);
        if (number <= std::numeric_limits<std::uint32_t>::max()) return std::to_string(number);
    }
    return MissingText(*value.setting);
}

std::string Expanded(const std::string& text) {
    std::array<char, kPathCapacity> whole{};
    const DWORD size = ExpandEnvironmentStringsA(text.c_str(), whole.data(), whole.size());
    return size == 0 || size > whole.size() ? text : std::string(FieldText(whole));
}

void ExamineNumber(const EffectiveSetting& value, AllAdvice& advice) {
    const StoredValue& stored = *value.stored;
    if (stored.type != REG_DWORD || !value.isTaken) {
        advice.push_back({true, "value-wrong-type", "setting", value.Place(),
                          std::string("the value is a ") + RegistryType(stored.type) + " of " +
                              std::to_string(stored.bytes.size()) +
                              " bytes and not a REG_DWORD: " + std::to_string(value.number) +
                              " counts" + (value.isTaken ? "" : ", as without it"),
                          SetCommand(value, MeantNumber(value))});
        return;
    }
    if (value.setting->type == ValueType::ExactSwitch && value.number > 1) {
        advice.push_back({true, "switch-odd", "setting", value.Place(),
                          "1 alone switches it on: " + std::to_string(value.number) + " is off",
                          SetCommand(value, "1")});
    }
    if (value.setting->key == std::string_view(kProvidersKey) && value.number > kLastSecond) {
        advice.push_back({true, "timeout-negative", "setting", value.Place(),
                          std::to_string(value.number) +
                              " has the sign of a negative number: the wait is not endless but as "
                              "short as it can be",
                          SetCommand(value, "86400")});
    }
}

void ExamineText(const EffectiveSetting& value, AllAdvice& advice) {
    const StoredValue& stored = *value.stored;
    const auto add = [&](const char* code, const std::string& means, const std::string& data) {
        advice.push_back({true, code, "setting", value.Place(), means, SetCommand(value, data)});
    };
    if (!IsTextType(stored.type)) {
        return add("value-wrong-type",
                   std::string("the value is a ") + RegistryType(stored.type) +
                       " and not a REG_SZ: its bytes are taken for letters",
                   "TEXT");
    }
    if (stored.isCut) {
        add("value-characters",
            "the value holds a character that the system code page lacks: \"" + value.text +
                "\" counts",
            "TEXT");
    } else if (stored.bytes.size() > kPathCapacity) {
        add("value-too-long",
            "the value is longer than 1023 characters: it counts as if it were not there", "TEXT");
    } else if (stored.type == REG_EXPAND_SZ && value.text.find('%') != value.text.npos) {
        add("value-not-expanded", "variables are not replaced: the value counts as it stands",
            Expanded(value.text));
    }
}

// People look for a key where most programs have theirs, with or without Wow6432Node.
void ExamineOtherPlace(const EffectiveSetting& value, AllAdvice& advice) {
    constexpr std::string_view kSoftware = "SOFTWARE\\";
    constexpr std::string_view kRedirected = "SOFTWARE\\Wow6432Node\\";
    const std::string_view key = value.key;
    const bool isRedirected = key.starts_with(kRedirected);
    const std::string other =
        std::string(isRedirected ? kSoftware : kRedirected)
            .append(key.substr(isRedirected ? kRedirected.size() : kSoftware.size()));
    const EffectiveSetting there = ReadSetting(*value.setting, other);
    if (!there.stored) return;
    const bool isText = value.setting->type == ValueType::Text;
    advice.push_back(
        {true, "value-misplaced", "setting", there.Place(),
         "nobody reads the value here; it is read from " + value.Place(),
         (value.stored ? ""
                       : SetCommand(value, isText ? there.text : MeantNumber(there)) + " && ") +
             DeleteCommand(there)});
}

void ExamineValue(const EffectiveSetting& value, AllAdvice& advice) {
    if (value.setting->root == RegistryRoot::LocalMachine) ExamineOtherPlace(value, advice);
    if (!value.stored) return;
    if (value.setting->type == ValueType::Text) return ExamineText(value, advice);
    ExamineNumber(value, advice);
}

EffectiveSetting Named(const char* name) {
    return ReadSetting(SettingNamed(name));
}

bool IsAbsolute(const std::string& path) {
    return path.starts_with("\\\\") || (path.size() > 2 && path[1] == ':' && path[2] == '\\');
}

void ExamineRoot(const Facts& facts, AllAdvice& advice) {
    const EffectiveSetting setting = Named("Mail Root");
    const auto add = [&](bool isProblem, const char* code, const std::string& means,
                         const std::string& mend) {
        advice.push_back({isProblem, code, "file", facts.root, means, mend});
    };
    if (facts.root.empty()) {
        advice.push_back({true, "mail-root-unset", "setting", setting.Place(),
                          "the library does not know where the postoffices lie, and looks for them "
                          "in the root of the current drive",
                          SetCommand(setting, "C:\\Path\\Of\\Postoffices")});
        return;
    }
    if (!IsAbsolute(facts.root)) {
        add(true, "mail-root-relative",
            "the mail root depends on the current directory or drive of each program",
            SetCommand(setting, facts.wholeRoot));
    }
    if (facts.rootFolder.isShared) {
        add(false, "mail-root-on-share",
            "the block files are the only locks that other machines see: mutexes do not reach "
            "them, so that two machines may save one index at once",
            SetCommand(setting, "C:\\Path\\Of\\Postoffices"));
    }
    if (!facts.rootFolder.isThere) {
        return add(true, "mail-root-missing",
                   "there is no such folder: every mailbox looks empty, and nothing can be written",
                   "mkdir " + Quoted(facts.root));
    }
    if (!facts.rootFolder.isWritable) {
        add(true, "mail-root-not-writable", "this account cannot make files in the mail root",
            "icacls " + Quoted(facts.root) + " /grant \"%USERNAME%:(OI)(CI)M\"");
    }
    if (!facts.hasPostoffice) {
        add(false, "no-postoffice",
            "no folder in the mail root has a MAILROOT: there is no mailbox yet, or the mail root "
            "is another folder",
            "mkdir " + Quoted(facts.root + "\\POSTOFFICE\\MAILROOT\\MAILBOX"));
    }
}

void ExamineProgramFolder(const Facts& facts, AllAdvice& advice) {
    const EffectiveSetting setting = Named("Application Directory");
    if (!setting.isTaken) {
        advice.push_back({false, "program-folder-unset", "setting", setting.Place(),
                          "the options and store provider modules are loaded from the folder 64 of "
                          "whatever directory is the current one",
                          SetCommand(setting, "C:\\Path\\Of\\Programs")});
    } else if (!facts.programFolder.isThere) {
        advice.push_back({true, "program-folder-missing", "file", facts.programFolder.path,
                          "there is no such folder: the options and store provider modules cannot "
                          "be loaded",
                          SetCommand(setting, "C:\\Path\\Of\\Programs")});
    }
}

void ExamineIndexes(AllAdvice& advice) {
    const auto risk = [&](const char* code, const char* name, const char* means, const char* data) {
        const EffectiveSetting setting = Named(name);
        advice.push_back(
            {false, code, "setting", setting.Place(), means, SetCommand(setting, data)});
    };
    constexpr const char* kLoads = "Use XML Stream Index Deserialisation";
    constexpr const char* kSaves = "Use XML Stream Index Serialisation";
    const bool loads = NumberOf(kLoads) == 1;
    const bool saves = NumberOf(kSaves) == 1;
    const bool backup = NumberOf("Backup Index") == 1;
    const EffectiveSetting version = Named("XML Version");
    if ((!loads || !saves) && (version.text.starts_with('4') || version.text.starts_with('6'))) {
        advice.push_back({true, "dom-version", "setting", version.Place(),
                          "with this version the DOM makes no document: it neither loads nor saves "
                          "an index",
                          SetCommand(version, "3")});
    }
    if (!backup) {
        risk("backup-off", "Backup Index",
             "a damaged index is reported and nothing else: no backup stands in for it", "1");
    } else if (!loads) {
        risk("backup-idle", kLoads,
             "Backup Index is 1, but backups are made and used by the stream alone, and the DOM "
             "loads",
             "1");
    }
    if (!loads || !saves) {
        risk("dom-chosen", loads ? kSaves : kLoads,
             "the DOM takes indexes as a whole, loses control characters, and a save that fails "
             "leaves the index cut short",
             "1");
        if (!loads && !saves) advice.back().mend += " && " + SetCommand(Named(kSaves), "1");
    }
    if (NumberOf("Index Unblock Mode") != 0) {
        risk("index-unblocked", "Index Unblock Mode",
             "a scan deletes another's block file after one second, when its holder keeps it "
             "closed: two may be at work in one folder",
             "0");
    }
    if (NumberOf("Calendar ReIndex Mode") != 0) {
        risk("calendars-rescanned", "Calendar ReIndex Mode",
             "every load of a calendar folder's index looks through all of its files", "0");
    }
}

void ExamineWaits(const Facts& facts, AllAdvice& advice) {
    const std::uint64_t reader = *SecondsOfWait(facts.waits, "reader-breaks");
    const std::uint64_t swap = 2 * *SecondsOfWait(facts.waits, "swap-step");
    if (reader <= swap) {
        const EffectiveSetting setting = Named("Read Wait Timeout");
        advice.push_back({false, "reader-outruns-writer", "setting", setting.Place(),
                          "a reader deletes the block file after " + std::to_string(reader) +
                              " s, while its writer may replace the calendar for " +
                              std::to_string(swap) + " s: two writers may then be at work at once",
                          SetCommand(setting, std::to_string(swap))});
    }
    if (!SecondsOfWait(facts.waits, "activity-breaks")) {
        const EffectiveSetting setting = Named("Store Notification Wait Timeout");
        advice.push_back({false, "wait-endless", "setting", setting.Place(),
                          "a block file that its holder left stops all notifications for ever",
                          SetCommand(setting, "100")});
    }
}

void ExamineLibrary(const LibraryState& library, AllAdvice& advice) {
    const auto add = [&](const char* code, const std::string& means) {
        advice.push_back(
            {true, code, "file", library.path.empty() ? "TWAICP.DLL" : library.path, means,
             "copy TWAICP.DLL of version " TARNWICK_VERSION " beside tarnwick-admin.exe"});
    };
    if (!library.fault.empty()) return add("library-unusable", library.fault);
    if (!library.isBesideTool) {
        add("library-elsewhere", "the library does not lie beside the tool; another was loaded");
    }
    if (library.version != TARNWICK_VERSION) {
        add("library-version", "the library is of version " +
                                   (library.version.empty() ? "none" : library.version) +
                                   " and the tool of " TARNWICK_VERSION);
    }
}

void ExamineClock(const ClockState& clock, AllAdvice& advice) {
    if (clock.unixTime >= kFirstSecond && clock.unixTime <= kLastSecond) return;
    advice.push_back({true, "clock-wrong", "clock", std::to_string(clock.unixTime),
                      "the clock is not set, or beyond January 2038, where calendars end: block "
                      "files and backups have wrong ages",
                      "w32tm /resync"});
}

void ExamineHosts(const std::vector<HostState>& hosts, AllAdvice& advice) {
    for (const HostState& host : hosts) {
        if (host.last.fault.empty()) continue;
        advice.push_back(
            {true, "host-unreachable", "host", host.name,
             std::string(host.last.name) + ": " + host.last.fault + "; calls on this host fail",
             "tarnwick-admin hosts test " + Quoted(host.name)});
    }
    const EffectiveSetting forced = Named("ForceDefaultHost");
    if (forced.number == 0) return;
    const bool hasDefault = std::ranges::any_of(
        hosts, [](const HostState& host) { return EqualsIgnoreCase(host.name, "Default"); });
    if (hasDefault) {
        advice.push_back({false, "default-host-forced", "setting", forced.Place(),
                          "programs of this account work on the host Default and not on the files "
                          "of this machine",
                          SetCommand(forced, "0")});
    } else {
        advice.push_back({true, "default-host-missing", "setting", forced.Place(),
                          "calls go to the host Default, which there is not: all of them fail",
                          "tarnwick-admin hosts add Default --address ADDRESS"});
    }
}

}  // namespace

std::vector<Advice> Examine(const Facts& facts) {
    AllAdvice advice;
    for (const EffectiveSetting& value : facts.settings) ExamineValue(value, advice);
    ExamineRoot(facts, advice);
    ExamineProgramFolder(facts, advice);
    ExamineIndexes(advice);
    ExamineWaits(facts, advice);
    ExamineLibrary(facts.library, advice);
    ExamineClock(facts.clock, advice);
    ExamineHosts(facts.hosts, advice);
    std::ranges::stable_partition(advice, &Advice::isProblem);
    return advice;
}

}  // namespace tarnwick::admin
