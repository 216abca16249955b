// doctor
#include <memory>

#include "tools/admin/Commands.h"
#include "tools/admin/Console.h"
#include "tools/admin/doctor/Examination.h"
#include "tools/admin/Failure.h"
#include "tools/admin/Json.h"

namespace tarnwick::admin {
namespace {

std::string Padded(std::string text, std::size_t width) {
    text.resize(std::max(text.size() + 2, width), ' ');
    return text;
}

// A row below a title.
std::string Row(const std::string& name, const std::string& value, const std::string& more = {}) {
    constexpr std::size_t kNameWidth = 48;
    constexpr std::size_t kValueWidth = 14;
    const std::string row = "  " + Padded(name, kNameWidth);
    return more.empty() ? row + value : row + Padded(value, kValueWidth) + more;
}

void ListSettings(const Context& context) {
    Answer answer(context);
    std::string key;
    for (const RegistrySetting& setting : AllSettings()) {
        if (KeyText(setting) != key) answer.Title(key = KeyText(setting));
        const std::string missing = MissingText(setting);
        const std::string unit = *setting.unit == '\0' ? "" : std::string(" ") + setting.unit;
        answer.Add({{"setting", setting.name},
                    {"key", key},
                    {"type", TypeText(setting)},
                    {"default", missing},
                    {"unit", setting.unit},
                    {"read", setting.read},
                    {"means", setting.means}},
                   "  " + std::string(setting.name) + " (" + TypeText(setting) + "; " + missing +
                       unit + " when missing; read " + setting.read + ")\n    " + setting.means);
    }
}

void ShowSettings(const Facts& facts, Answer& answer) {
    std::string key;
    for (const ShownSetting& setting : ShownSettings(facts)) {
        if (setting.key != key) answer.Title(key = setting.key);
        answer.Add({{"setting", setting.name},
                    {"key", ToUtf8(key)},
                    {"value", ToUtf8(setting.value)},
                    {"from", setting.source}},
                   Row(setting.name, setting.source, setting.value + setting.unit));
    }
}

void ShowWaits(const Facts& facts, Answer& answer) {
    answer.Title("Waits, in seconds");
    for (const WaitTime& wait : facts.waits) {
        Json json{{"wait", wait.wait}, {"seconds", nullptr}, {"setBy", wait.setting}};
        if (wait.seconds) json["seconds"] = *wait.seconds;
        json["means"] = wait.what;
        const std::string seconds = wait.seconds ? std::to_string(*wait.seconds) : "endless";
        answer.Add(json, "  " + Padded(seconds, 12) + wait.what);
    }
}

void ShowFolder(const FolderState& folder, const char* what, Answer& answer) {
    answer.Add({{"folder", what},
                {"path", ToUtf8(folder.path)},
                {"exists", folder.isThere},
                {"writable", folder.isWritable},
                {"shared", folder.isShared}},
               Row(what, StateText(folder), folder.path));
}

void ShowMachine(const Facts& facts, Answer& answer) {
    answer.Title("Machine");
    ShowFolder(facts.rootFolder, "mail root", answer);
    ShowFolder(facts.programFolder, "program modules", answer);
    const LibraryState& library = facts.library;
    answer.Add({{"library", ToUtf8(library.path)},
                {"version", library.version},
                {"toolVersion", TARNWICK_VERSION}},
               Row("library, of version", library.version, library.path));
    const auto time = FormatTime(static_cast<std::int32_t>(facts.clock.unixTime));
    answer.Add({{"clock", time},
                {"unixTime", facts.clock.unixTime},
                {"zone", ToUtf8(facts.clock.zone)},
                {"biasMinutes", facts.clock.biasMinutes},
                {"libraryBiasMinutes", 0}},
               Row("clock of the library, which counts in UTC", time) + "\n" +
                   Row("bias of the machine in minutes, not used",
                       std::to_string(facts.clock.biasMinutes), facts.clock.zone));
    for (const HostState& host : facts.hosts) {
        const bool answers = host.last.fault.empty();
        Json json{{"host", ToUtf8(host.name)}, {"address", ToUtf8(host.address)}};
        json["failed"] = answers ? Json(nullptr) : Json(host.last.name);
        answer.Add(json, Row("host " + host.name,
                             answers ? "answers" : "fails at " + std::string(host.last.name),
                             host.address));
    }
}

void ShowAdvice(const Advice& advice, Answer& answer) {
    answer.Add(
        {{advice.isProblem ? "problem" : "risk", advice.code},
         {advice.about, ToUtf8(advice.place)},
         {"means", ToUtf8(advice.means)},
         {"mend", ToUtf8(advice.mend)}},
        advice.place + "\n  " + advice.code + ": " + advice.means + "\n  mend: " + advice.mend);
}

void Diagnose(const Context& context) {
    if (!context.host.empty()) {
        throw WrongUsage("this command looks at this machine; leave --host away");
    }
    const Facts facts = GatherFacts(context.root);
    Answer answer(context);
    ShowSettings(facts, answer);
    ShowWaits(facts, answer);
    ShowMachine(facts, answer);
    std::size_t problems = 0;
    bool hasRisks = false;
    for (const Advice& advice : Examine(facts)) {
        if (advice.isProblem && problems++ == 0) answer.Title("Problems");
        if (!advice.isProblem && !hasRisks) answer.Title("Risks");
        hasRisks = hasRisks || !advice.isProblem;
        ShowAdvice(advice, answer);
    }
    if (problems == 0) return;
    throw Failure(ExitStatus::ProblemsFound,
                  std::to_string(problems) + (problems == 1 ? " problem" : " problems") + " found");
}

}  // namespace

void RegisterDoctor(const Command& app, Context& context) {
    const auto listOnly = std::make_shared<bool>(false);
    const Command command = app.AddCommand(
        "doctor",
        {"Look at the settings of this machine, and at what they lead to",

         "Each setting with its value and where it comes from, how long waits last, folders,\n"
         "library, clock and hosts (3 s each). Problems end with status 3, risks do not; each\n"
         "has a command that mends it. Nothing is changed.\n",

         "  tarnwick-admin doctor\n"
         "  tarnwick-admin doctor --json\n"
         "  tarnwick-admin doctor --settings\n"});
    command.AddFlag("--settings", *listOnly, "All settings there are, without their values");
    command.OnRun([listOnly, &context] {
        if (*listOnly) return ListSettings(context);
        Diagnose(context);
    });
}

}  // namespace tarnwick::admin
