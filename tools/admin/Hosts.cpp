// hosts list, add, remove, test
#include <memory>
#include <optional>

#include "common/Scan.h"
#include "remote/AdminProtocol.h"
#include "remote/Socket.h"
#include "tools/admin/Commands.h"
#include "tools/admin/Console.h"
#include "tools/admin/Failure.h"
#include "tools/admin/HostEntries.h"
#include "tools/admin/Json.h"

namespace tarnwick::admin {
namespace {

struct HostOptions {
    HostEntry entry;
    std::string credentialsFile;
};

void PrintResult(const std::string& result, const std::string& host, const Context& context) {
    if (!context.json) return PrintDone(result + " host " + host, context);
    JsonLines(context).Add({{"result", result}, {"host", ToUtf8(host)}});
}

void List(const Context& context) {
    std::optional<JsonLines> lines;
    if (context.json) lines.emplace(context);
    std::string table;
    for (const std::string& name : HostNames()) {
        const HostEntry entry = ReadHostEntry(name).value_or(HostEntry{});
        if (lines) {
            lines->Add({{"host", ToUtf8(name)},
                        {"address", ToUtf8(entry.address)},
                        {"port", entry.port},
                        {"credentials", !entry.credentials.empty()}});
        }
        table += name + "\t" + entry.address + ":" + std::to_string(entry.port) +
                 (entry.credentials.empty() ? "\tno credentials\n" : "\n");
    }
    if (!lines) Print(table);
}

// The first line of the file: secrets on a command line are seen by everybody on the machine.
std::string ReadSecret(const std::string& file) {
    if (file.empty()) return {};
    const std::string text = ReadInput(file);
    std::string line = text.substr(0, FindEither(text, '\r', '\n'));
    if (line.empty())
        throw Refusal("the first line of " + file + " is empty; credentials go there");
    if (line.size() <= kHostSettingLimit) return line;
    throw WrongUsage("credentials have at most 255 characters");
}

void Add(HostOptions options, const Context& context) {
    CheckHostName(options.entry.name);
    if (options.entry.address.empty() || options.entry.address.size() > kHostSettingLimit) {
        throw WrongUsage("an address has 1 to 255 characters");
    }
    const bool existed = ReadHostEntry(options.entry.name).has_value();
    options.entry.credentials = ReadSecret(options.credentialsFile);
    if (!context.dryRun) WriteHostEntry(options.entry);
    PrintResult(existed ? "replaced" : "added", options.entry.name, context);
}

void Remove(const std::string& name, const Context& context) {
    RequireHost(name);
    if (!context.dryRun) RemoveHostEntry(name);
    PrintResult("removed", name, context);
}

void Test(const std::string& name, const Context& context) {
    const StartedWinsock winsock;
    const std::vector<TestStep> steps = TestHost(RequireHost(name));
    const TestStep& last = steps.back();
    if (context.json) {
        Json json{{"host", ToUtf8(name)}, {"failed", nullptr}};
        if (!last.fault.empty()) json["failed"] = last.name;
        JsonLines(context).Add(json);
    } else {
        std::string table;
        for (const TestStep& step : steps) {
            table += std::string(step.name) + "\t" + (step.fault.empty() ? "ok\n" : "failed\n");
        }
        Print(table);
    }
    if (last.fault.empty()) return;
    throw Failure(ExitStatus::NotReached, std::string(last.name) + ": " + last.fault);
}

void RegisterAdd(const Command& hosts, Context& context) {
    auto options = std::make_shared<HostOptions>();
    options->entry.port = kAdminPort;
    const Command command = hosts.AddCommand(
        "add",
        {"Add a host, or replace it",

         "The host is kept in the registry of this account. Credentials are the first line of a\n"
         "file, so that they stand on no command line.\n",

         "  tarnwick-admin hosts add north --address mail.example.org --credentials-file key.txt\n"
         "  tarnwick-admin hosts add Default --address 10.0.0.7 --port 9000\n"});
    command.AddOption("name", options->entry.name, "Name of the host").Required();
    command.AddOption("--address", options->entry.address, "Host name or dotted address")
        .Required();
    command.AddPort("--port", options->entry.port, "TCP port");
    command.AddOption("--credentials-file", options->credentialsFile,
                      "File whose first line the service wants; - is standard input");
    command.AddOption("--protocol", options->entry.protocol, "Authentication protocol");
    AddDryRunOption(command, context);
    command.OnRun([options, &context] { Add(*options, context); });
}

Command RegisterNamed(const Command& hosts, const Context& context, const char* name,
                      const CommandHelp& help, void (*action)(const std::string&, const Context&)) {
    auto host = std::make_shared<std::string>();
    const Command command = hosts.AddCommand(name, help);
    command.AddOption("name", *host, "Name of the host").Required();
    command.OnRun([host, &context, action] { action(*host, context); });
    return command;
}

}  // namespace

void RegisterHosts(const Command& app, Context& context) {
    const Command hosts =
        app.AddCommand("hosts", {"List, add, remove or test the servers that --host may name",

                                 "A host is another server that runs tarnwick-service.\n",

                                 "  tarnwick-admin hosts add --help\n"});
    hosts.NeedsCommand();
    hosts.AddCommand("list", {"List the hosts", "", "  tarnwick-admin hosts list --json\n"})
        .OnRun([&context] { List(context); });
    RegisterAdd(hosts, context);
    AddDryRunOption(
        RegisterNamed(hosts, context, "remove",
                      {"Remove a host", "", "  tarnwick-admin hosts remove north\n"}, Remove),
        context);
    RegisterNamed(
        hosts, context, "test",
        {"Talk to a host's service, step by step",

         "The steps are address, connect, AUTH, LOAD and PING; the first that fails ends\n"
         "the test with status 7 and its reason.\n",

         "  tarnwick-admin hosts test north\n"},
        Test);
}

}  // namespace tarnwick::admin
