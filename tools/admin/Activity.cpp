// activity list, purge
#include <memory>

#include "common/Clock.h"
#include "common/Text.h"
#include "common/Waits.h"
#include "Library/activity/ActivityStore.h"
#include "tools/admin/Connections.h"
#include "tools/admin/Console.h"
#include "tools/admin/Json.h"
#include "tools/admin/StorePlaces.h"
#include "tools/admin/TextTable.h"

namespace tarnwick::admin {
namespace {

struct ActivityOptions {
    std::string directory;
    std::string server;
};

// The library holds the lock for moments; what stands for longer was left behind, or is a server
// that notifies others.
constexpr int kLockTries = 20;
constexpr std::uint32_t kLockWait = 250;

void WaitUntilUnlocked(const ActivityPaths& paths) {
    for (int tries = kLockTries; FileExists(paths.block); --tries) {
        if (tries == 0) {
            throw Failure(ExitStatus::Busy, "the activity file is locked: " + paths.block +
                                                " has been there for " + AgeOfFile(paths.block));
        }
        WaitMilliseconds(kLockWait);
    }
}

// Empty when there is no activity file.
std::string ReadActivity(const ActivityPaths& paths) {
    return FileExists(paths.file) ? ReadStoreFile(paths.file) : std::string();
}

std::string Address(const ActivityEntry& entry) {
    return std::string(entry.ipAddress) + ":" + std::to_string(entry.port);
}

std::string WhyStale(const ListedConnection& connection) {
    if (connection.laterSession.empty()) return {};
    return "stale: session " + std::string(connection.entry.serverSession) +
           " of its server ended, " + std::string(connection.laterSession) + " runs now";
}

Json ConnectionJson(const ListedConnection& connection) {
    const ActivityEntry& entry = connection.entry;
    Json object{{"server", JsonText(entry.server)},
                {"protocol", JsonText(entry.protocol)},
                {"account", JsonText(entry.accountName)},
                {"address", JsonText(entry.ipAddress)},
                {"port", entry.port},
                {"time", connection.time},
                {"folder", JsonText(entry.folder)},
                {"instance", entry.instanceNumber},
                {"session", JsonText(entry.serverSession)},
                {"stale", nullptr}};
    if (!connection.laterSession.empty()) object["stale"] = JsonText(WhyStale(connection));
    return object;
}

std::string ConnectionTable(const std::vector<ListedConnection>& connections) {
    std::vector<std::vector<std::string>> rows{
        {"SERVER", "PROTOCOL", "ACCOUNT", "ADDRESS", "FOLDER", "SET", "STATE"}};
    for (const ListedConnection& connection : connections) {
        const ActivityEntry& entry = connection.entry;
        rows.push_back(
            {std::string(entry.server), std::string(entry.protocol), std::string(entry.accountName),
             Address(entry), std::string(entry.folder),
             FormatAge(std::max<std::int64_t>(CurrentUnixTime() - connection.time, 0)) + " ago",
             connection.laterSession.empty() ? "connected" : WhyStale(connection)});
    }
    return rows.size() == 1 ? std::string() : TextTable(rows, FromUtf8);
}

void List(const ActivityOptions& options, Context& context) {
    const ActivityPaths paths(StoreDirectory(options.directory, context));
    // For a moment of each rewrite there is no file.
    if (!FileExists(paths.file)) WaitUntilUnlocked(paths);
    const std::string bytes = ReadActivity(paths);
    const std::vector<ListedConnection> connections = ListConnections(bytes);
    if (context.json) {
        JsonLines lines(context);
        for (const ListedConnection& connection : connections) {
            lines.Add(ConnectionJson(connection));
        }
    } else {
        Print(ConnectionTable(connections));
        if (connections.empty()) Note("no connections");
    }
    if (const std::size_t broken = CountBrokenLines(bytes); broken != 0) {
        Note(Counted(broken, "line is no entry", "lines are no entries") +
             "; the next change of the file leaves them out");
    }
}

// Writes the file anew as the library does; it goes with its last entry.
void Replace(const ActivityPaths& paths, const RewrittenActivity& rewritten) {
    if (rewritten.written == 0) {
        if (DeleteWithRetry(paths.file, false, 0)) return;
        throw SystemFailure("the activity file " + paths.file + " cannot be deleted");
    }
    File replacement(paths.replacement, kOpenTruncate);
    if (!replacement.IsOpen() || !WriteActivity(replacement, rewritten.bytes)) {
        throw SystemFailure("the file " + paths.replacement + " cannot be written");
    }
    if (!ReplaceActivityFile(paths.replacement, paths.file)) {
        throw SystemFailure("the activity file " + paths.file + " cannot be replaced");
    }
}

void Purge(const ActivityOptions& options, Context& context) {
    const LibraryMessages messages;
    const ActivityPaths paths(StoreDirectory(options.directory, context));
    WaitUntilUnlocked(paths);
    BlockFileLock lock;
    if (!context.dryRun) {
        LockActivity(lock, paths);
        if (lock.State() != LockState::Held) {
            throw SystemFailure("the lock " + paths.block + " cannot be had");
        }
    }
    RequireWritable(paths.file);
    const std::string bytes = ReadActivity(paths);
    std::vector<ListedConnection> gone;
    const RewrittenActivity rewritten =
        WithoutConnections(bytes, [&](const ListedConnection& connection) {
            const bool goes = options.server.empty()
                                  ? !connection.laterSession.empty()
                                  : EqualsIgnoreCase(connection.entry.server, options.server);
            if (goes) gone.push_back(connection);
            return goes;
        });
    if (!gone.empty() && !context.dryRun) Replace(paths, rewritten);
    if (context.json) {
        JsonLines lines(context);
        for (const ListedConnection& connection : gone) lines.Add(ConnectionJson(connection));
        return;
    }
    PrintDone("purged " + Counted(gone.size(), "entry", "entries") + ", " +
                  std::to_string(rewritten.written) + " left",
              context);
    Print(ConnectionTable(gone));
}

Command AddActivityCommand(const Command& activity, const char* name, const CommandHelp& help,
                           Context& context, void (*action)(const ActivityOptions&, Context&)) {
    auto options = std::make_shared<ActivityOptions>();
    const Command command = activity.AddCommand(name, help);
    command.AddOption("directory", options->directory, "The mailbox or folder").Required();
    if (action == Purge) {
        command.AddOption("--server", options->server,
                          "Takes out all entries of this server, which will not run again, "
                          "instead of the stale ones");
    }
    command.OnRun([options, &context, action] { action(*options, context); });
    return command;
}

}  // namespace

void RegisterActivity(const Command& app, Context& context) {
    const Command activity = app.AddCommand(
        "activity", {"List the clients that watch a folder, or purge stale ones",

                     "Servers keep the connections that watch a mailbox or folder in its activity\n"
                     "file (_activity.tab). The place is postoffice/mailbox,\n"
                     "postoffice/mailbox/folder, postoffice/Public/folder, or a path.\n",

                     "  tarnwick-admin activity list sales/anna\n"});
    activity.NeedsCommand();
    AddActivityCommand(
        activity, "list",
        {"Show who is connected, from where, and which entries are stale",

         "An entry is stale when another run of its server, by the same protocol, has set a\n"
         "later one: the library drops it when that run next sets or closes a connection.\n",

         "  tarnwick-admin activity list sales/anna\n"
         "  tarnwick-admin activity list sales/Public/News --json\n"},
        context, List);
    AddDryRunOption(
        AddActivityCommand(activity, "purge",
                           {"Take stale entries out, under the library's lock", "",

                            "  tarnwick-admin activity purge sales/anna --dry-run\n"
                            "  tarnwick-admin activity purge sales/anna --server OLDSERVER\n"},
                           context, Purge),
        context);
}

}  // namespace tarnwick::admin
