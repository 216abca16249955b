#include "tools/admin/doctor/Facts.h"

#include <array>

#include "common/Text.h"
#include "remote/AdminHost.h"
#include "remote/Socket.h"

namespace tarnwick::admin {
namespace {

constexpr std::uint32_t kHostAnswerMilliseconds = 3000;

std::vector<HostState> LookAtHosts() {
    std::vector<HostState> hosts;
    const StartedWinsock winsock;
    for (const std::string& name : HostNames()) {
        const HostEntry entry = ReadHostEntry(name).value_or(HostEntry{});
        hosts.push_back({name, entry.address + ":" + std::to_string(entry.port),
                         TestHost(entry, kHostAnswerMilliseconds).back()});
    }
    return hosts;
}

// Where a setting's present value comes from.
std::string SourceOf(const EffectiveSetting& value, const Facts& facts) {
    if (facts.rootIsGiven && value.setting->name == std::string_view("Mail Root")) return "--root";
    if (!value.stored) return "default";
    return value.isTaken ? "registry" : "default, unreadable";
}

}  // namespace

std::vector<ShownSetting> ShownSettings(const Facts& facts) {
    std::vector<ShownSetting> shown;
    for (const EffectiveSetting& value : facts.settings) {
        const std::string source = SourceOf(value, facts);
        const std::string unit = value.setting->unit;
        shown.push_back({value.setting->name,
                         std::string(RootText(value.setting->root)) + "\\" + value.key, source,
                         source == "--root" ? facts.root : value.Shown(),
                         unit.empty() ? "" : " " + unit});
    }
    return shown;
}

Facts GatherFacts(const std::string& root) {
    Facts facts;
    for (const RegistrySetting& setting : AllSettings()) {
        if (!IsHostSetting(setting)) facts.settings.push_back(ReadSetting(setting));
    }
    for (const std::string& host : HostNames()) {
        for (const RegistrySetting& setting : AllSettings()) {
            if (!IsHostSetting(setting)) continue;
            facts.settings.push_back(ReadSetting(setting, HostKey(host)));
        }
    }
    std::array<char, kPathCapacity> mailRoot{};
    ReadMailRoot(mailRoot);
    facts.rootIsGiven = !root.empty();
    facts.root = facts.rootIsGiven ? WholePathOf(root) : std::string(FieldText(mailRoot));
    facts.wholeRoot = WholePathOf(facts.root);
    facts.rootFolder = LookAtFolder(facts.root);
    facts.hasPostoffice = facts.rootFolder.isThere && HasPostoffice(facts.root);
    facts.programFolder =
        LookAtFolder(ReadSetting(SettingNamed("Application Directory")).text + "64");
    facts.waits = WaitTimes(facts.root);
    facts.library = LookAtLibrary();
    facts.clock = LookAtClock();
    facts.hosts = LookAtHosts();
    return facts;
}

}  // namespace tarnwick::admin
