// check, recover, locks
#include <algorithm>
#include <array>
#include <memory>
#include <optional>

#include "common/Files.h"
#include "common/Registry.h"
#include "common/Text.h"
#include "tools/admin/Commands.h"
#include "tools/admin/Console.h"
#include "tools/admin/Json.h"
#include "tools/admin/store/BlockRule.h"
#include "tools/admin/store/HeldBlock.h"
#include "tools/admin/store/StoreCheck.h"
#include "tools/admin/store/StoreRepair.h"
#include "tools/admin/StoreCare.h"

namespace tarnwick::admin {
namespace {

constexpr CommandHelp kCheckHelp{
    "Look through the store for what crashes and other programs left",

    "Reads only, also while a server works. Each problem is named with its file, the line or the\n"
    "offset, what it means for the users, and the command that mends it.\n",

    "  tarnwick-admin check\n"
    "  tarnwick-admin check sales/anna\n"
    "  tarnwick-admin check --json D:\\Mail\\sales\\PUBROOT\n"};
constexpr CommandHelp kRecoverHelp{
    "Mend what check finds, where the store's files tell how",

    "Puts back calendars that a crash left without their file, writes damaged indexes anew with\n"
    "what can be read of them, removes the block files of those who have ended. What it replaces\n"
    "stays beside it, with \".kept\" behind its name.\n",

    "  tarnwick-admin recover sales/anna --dry-run\n"
    "  tarnwick-admin recover sales\n"};
constexpr CommandHelp kLocksHelp{
    "Show the block files of the store, or remove one",

    "Each with its age, what it guards, and when a waiter breaks it.\n",

    "  tarnwick-admin locks\n"
    "  tarnwick-admin locks sales/anna\n"};
constexpr CommandHelp kBreakHelp{
    "Remove the block file of a holder that has ended",

    "Refused while the file is younger than the waits for it, or a program has it open.\n",

    "  tarnwick-admin locks break D:\\Mail\\sales\\MAILROOT\\anna\\Calendar\\Y25M03D01.BLK\n"};

void PrintFinding(const Finding& finding, Answer& answer, const Context& context) {
    const char* code = KindOf(finding.problem).code;
    const std::string mend = MendCommand(finding, context.root);
    Json json{{"problem", code}, {"file", ToUtf8(finding.file)}};
    if (finding.line) json["line"] = *finding.line;
    if (finding.offset) json["offset"] = *finding.offset;
    json["means"] = ToUtf8(finding.Means());
    json["mend"] = ToUtf8(mend);
    answer.Add(json,
               finding.PlaceText() + "\n  " + code + ": " + finding.Means() + "\n  mend: " + mend);
}

[[noreturn]] void EndWithProblems(std::size_t count, const std::string& hint) {
    throw Failure(ExitStatus::ProblemsFound,
                  std::to_string(count) + (count == 1 ? " problem" : " problems") + hint);
}

void RunCheck(const std::string& place, const Context& context) {
    const std::string root = RootOf(context);
    const std::string folder = FolderOfPlace(place, root);
    Answer answer(context);
    const std::vector<Finding> findings = CheckStore(folder, root, Noted("checked", context));
    for (const Finding& finding : findings) PrintFinding(finding, answer, context);
    if (!findings.empty()) EndWithProblems(findings.size(), " found");
    if (!context.json) Note("no problem found in " + folder);
}

void PrintStep(const RepairStep& step, Answer& answer) {
    const char* code = KindOf(step.problem).code;
    answer.Add({{"problem", code},
                {"file", ToUtf8(step.file)},
                {"done", step.done},
                {"text", ToUtf8(step.text)}},
               step.file + "\n  " + code + ": " + (step.done ? "" : "left: ") + step.text);
}

void RunRecover(const std::string& place, const Context& context) {
    const std::string root = RootOf(context);
    const std::string folder = FolderOfPlace(place, root);
    Answer answer(context);
    const std::vector<Finding> left = RecoverStore(
        folder, root, context.dryRun, [&](const RepairStep& step) { PrintStep(step, answer); },
        [&](const std::string& text) {
            if (!context.json) Note(text);
        },
        Noted("checked", context));
    if (left.empty()) {
        if (!context.json) Note("no problem is left in " + folder);
        return;
    }
    const std::string command = OnRoot("tarnwick-admin check " + Quoted(folder), context.root);
    EndWithProblems(left.size(),
                    " left; " + command + (left.size() == 1 ? " shows it" : " shows them"));
}

void PrintLock(const BlockState& block, Answer& answer) {
    const BlockRule& rule = block.rule;
    answer.Add({{"file", ToUtf8(block.path)},
                {"ageSeconds", block.ageSeconds},
                {"guards", ToUtf8(rule.guards)},
                {"waitSeconds", rule.waiterSeconds},
                {"broken", rule.breaks},
                {"heldOpen", block.isHeldOpen},
                {"stale", block.isStale}},
               block.path + "\n  guards " + rule.guards + ", for " + FormatAge(block.ageSeconds) +
                   StateText(block) + "\n  broken " + rule.breaks);
}

void RunLocks(const std::string& place, const Context& context) {
    const std::string folder = FolderOfPlace(place, RootOf(context));
    Answer answer(context);
    bool any = false;
    WalkFolders(folder, [&](const FolderListing& listing) {
        for (const BlockState& block : BlocksOf(listing)) {
            PrintLock(block, answer);
            any = true;
        }
    });
    if (!any && !context.json) Note("no block file in " + folder);
}

void RunBreak(const std::string& text, const Context& context) {
    const std::string path = FullPath(text);
    const auto rule = RuleOf(std::string(ParentOf(path)), std::string(NameOf(path)));
    if (!rule) throw Refusal(path + " is no block file; the command locks shows those there are");
    const auto found = DirectoryScan(path).Next();
    if (!found) throw Refusal("there is no " + path);
    const std::uint64_t lastWrite = ToUint64(found->lastWrite);
    const bool broken = context.dryRun ? IsStale(*rule, path, lastWrite) : BreakBlock(path);
    if (!broken) {
        throw Failure(ExitStatus::Busy, path + " is " + FormatAge(AgeSeconds(lastWrite)) +
                                            " old, and its holder may be at work; it is broken " +
                                            rule->breaks);
    }
    Answer(context).Add({{"result", "removed"}, {"file", ToUtf8(path)}}, "removed " + path);
}

Command AddPlaceCommand(const Command& app, const char* name, const CommandHelp& help,
                        std::string& place) {
    const Command command = app.AddCommand(name, help);
    command.AddOption("place", place,
                      "A postoffice, postoffice/mailbox or folder; left out: the mail root");
    return command;
}

}  // namespace

std::string RootOf(const Context& context) {
    if (!context.host.empty()) {
        throw WrongUsage("this command looks at the files of this machine; leave --host away");
    }
    if (!context.root.empty()) return FullPath(context.root);
    std::array<char, kPathCapacity> root{};
    ReadMailRoot(root);
    return root.front() == '\0' ? std::string() : FullPath(root.data());
}

WalkProgress Noted(const char* job, const Context& context) {
    auto progress = std::make_shared<std::optional<Progress>>();
    return [=, wanted = !context.json](std::size_t, std::size_t total) {
        if (!*progress) progress->emplace(job, total, wanted);
        (*progress)->Step();
    };
}

std::string OnRoot(std::string command, const std::string& root) {
    constexpr std::string_view kTool = "tarnwick-admin ";
    if (root.empty()) return command;
    const std::string option = "--root " + Quoted(root) + " ";
    for (std::size_t at = 0; (at = command.find(kTool, at)) != command.npos;) {
        at += kTool.size();
        command.insert(at, option);
    }
    return command;
}

std::string MendCommand(const Finding& finding, const std::string& root) {
    return OnRoot(finding.Mend(), finding.root.empty() ? root : finding.root);
}

void RegisterStoreCare(const Command& app, Context& context) {
    const auto place = std::make_shared<std::string>();
    const auto file = std::make_shared<std::string>();
    AddPlaceCommand(app, "check", kCheckHelp, *place).OnRun([place, &context] {
        RunCheck(*place, context);
    });
    const Command recover = AddPlaceCommand(app, "recover", kRecoverHelp, *place);
    AddDryRunOption(recover, context);
    recover.OnRun([place, &context] { RunRecover(*place, context); });
    const Command locks = AddPlaceCommand(app, "locks", kLocksHelp, *place);
    const Command breaking = locks.AddCommand("break", kBreakHelp);
    breaking.AddOption("file", *file, "The block file").Required();
    AddDryRunOption(breaking, context);
    breaking.OnRun([file, &context] { RunBreak(*file, context); });
    locks.OnRun([locks, place, &context] {
        if (!locks.HasChosenCommand()) RunLocks(*place, context);
    });
}

}  // namespace tarnwick::admin
