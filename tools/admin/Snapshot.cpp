// snapshot
#include <memory>
#include <optional>
#include <set>

#include "common/Clock.h"
#include "common/Retry.h"
#include "common/Text.h"
#include "common/TextFile.h"
#include "provider/CalendarPaths.h"
#include "tools/admin/archive/Manifest.h"
#include "tools/admin/archive/ZipWriter.h"
#include "tools/admin/Commands.h"
#include "tools/admin/Console.h"
#include "tools/admin/Diagnosis.h"
#include "tools/admin/Json.h"
#include "tools/admin/NewFile.h"
#include "tools/admin/RestorePlan.h"
#include "tools/admin/store/FolderListing.h"
#include "tools/admin/store/HeldBlock.h"
#include "tools/admin/store/StoreCheck.h"
#include "tools/admin/StorePlaces.h"

namespace tarnwick::admin {
namespace {

constexpr OpenMode kReadShared{GENERIC_READ, kShareReadWrite | FILE_SHARE_DELETE, OPEN_EXISTING};
constexpr std::uint32_t kBlock = 1U << 16;
// As calendars are read.
constexpr std::size_t kLineCapacity = 1024;

struct SnapshotOptions {
    std::string mailbox;
    std::string file;
    bool force = false;
};

std::int64_t SecondsOf(std::uint64_t fileTime) {
    return static_cast<std::int64_t>(fileTime) / kFileTimeUnitsPerSecond - kSecondsFrom1601To1970;
}

ZipTime TimeOf(std::uint64_t fileTime) {
    const FILETIME utc{static_cast<DWORD>(fileTime), static_cast<DWORD>(fileTime >> 32)};
    FILETIME local{};
    FileTimeToLocalFileTime(&utc, &local);
    return {SecondsOf(fileTime), SecondsOf(ToUint64(local))};
}

std::uint64_t LinesOf(std::string_view calendar) {
    std::uint64_t lines = 0;
    for (TextModeLines reader(calendar, kLineCapacity); reader.Next();) ++lines;
    return lines;
}

// Takes the files of a mailbox into an archive, or in a dry run nowhere.
class Snapshot {
  public:
    Snapshot(const Mailbox& mailbox, const Context& context, const ByteTarget& sink)
        : mailbox_(mailbox),
          context_(context),
          folder_(FullPath(CalendarFolder({mailbox.postoffice, mailbox.name, {}}))),
          zip_(sink) {
        manifest_.mailbox = ToUtf8(mailbox.Text());
        manifest_.taken = FormatTime(static_cast<std::int32_t>(CurrentUnixTime()));
    }

    void Take() {
        const FolderListing listing(folder_);
        if (listing.Error() != 0) {
            SetLastError(listing.Error());
            throw SystemFailure("the folder " + folder_ + " cannot be listed");
        }
        Progress progress("snapshot", listing.Files().size(), !context_.json);
        for (const StoredFile& file : listing.Files()) {
            if (IsOfCalendar(listing, file.name)) TakeCalendar(std::string(StemOf(file.name)));
            if (RoleOf(file.name) == FileRole::Item) TakeItem(file.name);
            progress.Step();
        }
        zip_.Begin(kManifestName, TimeOf(CurrentFileTime()));
        zip_.Write(ManifestText(manifest_));
        zip_.End();
        zip_.Finish();
    }

    const Manifest& Taken() const { return manifest_; }
    std::size_t LeftOut() const { return leftOut_; }

  private:
    // Whether the file is a calendar, or the first sign of one that was not seen.
    static bool IsOfCalendar(const FolderListing& listing, std::string_view name) {
        const FileRole role = RoleOf(name);
        const std::string stem(StemOf(name));
        const bool isSwapped =
            role == FileRole::SwapSign && listing.Find(stem + ".CAL") == nullptr &&
            (HasExtension(name, "BLK") || listing.Find(stem + ".BLK") == nullptr);
        return role == FileRole::Calendar || isSwapped;
    }

    std::string PathOf(const std::string& name) const { return folder_ + "\\" + name; }

    void LeaveOut(const std::string& name, const std::string& reason) {
        Note(name + ": " + reason);
        ++leftOut_;
    }

    // Whether a restore could write the name.
    bool IsFit(const std::string& name, void (*check)(std::string_view), std::string_view checked) {
        try {
            check(checked);
        } catch (const Failure& failure) {
            LeaveOut(name, std::string(failure.what()) + "; left out");
            return false;
        }
        if (names_.insert(FoldedName(name)).second) return true;
        LeaveOut(name, "the system reads the name of another file the same way; left out");
        return false;
    }

    void TakeCalendar(const std::string& calendar) {
        const std::string name = calendar + ".CAL";
        if (!IsFit(name, CheckCalendarName, calendar)) return;
        TellBlock(mailbox_, calendar, context_);
        std::optional<HeldBlock> held;
        if (!context_.dryRun) {
            held.emplace(PathOf(calendar + ".BLK"));
            if (!held->IsHeld()) throw RefusedChange(mailbox_, calendar);
        }
        const auto found = DirectoryScan(PathOf(name)).Next();
        if (found && found->size > kLargestCalendar) {
            return LeaveOut(name, "it is larger than a restore takes; left out");
        }
        const auto bytes = reader_.Read(PathOf(name), found ? found->size : 0);
        const DWORD error = GetLastError();
        const bool isLost = !bytes && IsGone(error) && FileExists(PathOf(calendar + ".TMP"));
        held.reset();
        if (isLost) return LeaveOut(name, "a crash has left it without its file; see recover");
        // Its last entry was removed since the folder was listed.
        if (!bytes && IsGone(error)) return;
        if (!bytes) {
            SetLastError(error);
            throw SystemFailure("the calendar " + PathOf(name) + " cannot be read");
        }
        Begin(name, found ? ToUint64(found->lastWrite) : CurrentFileTime());
        zip_.Write(*bytes);
        End(name, bytes->size(), LinesOf(*bytes));
    }

    void TakeItem(const std::string& name) {
        if (!IsFit(name, CheckItemName, name)) return;
        File item(PathOf(name), kReadShared);
        if (!item.IsOpen()) {
            const bool isGone = IsGone(GetLastError());
            return LeaveOut(name, isGone ? "it has gone meanwhile" : "it cannot be read; left out");
        }
        const std::uint64_t time = item.LastWriteTime().value_or(0);
        auto count = item.Read(block_.data(), kBlock);
        // Another program may have locked it; behind its first block it would be a torn member.
        if (!count) return LeaveOut(name, "it cannot be read; left out");
        Begin(name, time);
        std::uint64_t size = 0;
        for (; count && *count > 0; count = item.Read(block_.data(), kBlock)) {
            zip_.Write({block_.data(), *count});
            size += *count;
        }
        if (!count) throw SystemFailure("the item " + PathOf(name) + " cannot be read");
        End(name, size, std::nullopt);
        if (item.LastWriteTime().value_or(0) != time) {
            LeaveOut(name, "it was changed while it was taken; part of it may be old, part new");
        }
    }

    void Begin(const std::string& name, std::uint64_t fileTime) {
        zip_.Begin(kCalendarFolder + ToUtf8(name), TimeOf(fileTime));
    }

    void End(const std::string& name, std::uint64_t size, std::optional<std::uint64_t> lines) {
        zip_.End();
        manifest_.files.push_back({ToUtf8(name), size, lines});
    }

    const Mailbox& mailbox_;
    const Context& context_;
    std::string folder_;
    ZipWriter zip_;
    Manifest manifest_;
    std::set<std::string> names_;
    SharedReader reader_;
    std::string block_ = std::string(kBlock, '\0');
    std::size_t leftOut_ = 0;
};

void PrintTaken(const Snapshot& snapshot, const Mailbox& mailbox, const Context& context) {
    std::size_t calendars = 0;
    std::uint64_t lines = 0;
    for (const SnapshotFile& file : snapshot.Taken().files) {
        calendars += file.lines ? 1 : 0;
        lines += file.lines.value_or(0);
    }
    const std::size_t items = snapshot.Taken().files.size() - calendars;
    if (context.json) {
        return JsonLines(context).Add({{"result", "taken"},
                                       {"calendars", calendars},
                                       {"lines", lines},
                                       {"items", items},
                                       {"leftOut", snapshot.LeftOut()}});
    }
    PrintDone("took " + Counted(calendars, "calendar", "calendars") + " of " +
                  Counted(lines, "line", "lines") + " and " + Counted(items, "item", "items") +
                  " of " + mailbox.Text(),
              context);
}

// In the folder of the calendars it would be an item, and part of the next archive.
void RequirePlaceOutside(const Mailbox& mailbox, const std::string& file) {
    const std::string folder = FullPath(CalendarFolder({mailbox.postoffice, mailbox.name, {}}));
    if (!EqualsIgnoreCase(ParentOf(FullPath(file)), folder)) return;
    throw WrongUsage(file + " would be an item of the mailbox; name another folder");
}

void RequireFreeName(const SnapshotOptions& options) {
    const DWORD attributes = GetFileAttributesA(options.file.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES) return;
    if ((attributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
        throw WrongUsage(options.file + " is a folder; name the archive in it");
    }
    if (!options.force) {
        throw Refusal("there is a file " + options.file + " already; --force replaces it");
    }
    RequireWritable(options.file);
}

void Run(const SnapshotOptions& options, const Context& context) {
    if (!context.host.empty()) {
        throw WrongUsage("no server shows its files; leave --host away");
    }
    const MailboxStore store = OpenMailbox(options.mailbox, context);
    RequirePlaceOutside(store.Owner(), options.file);
    RequireFreeName(options);
    if (!context.dryRun) RequireWritableCalendars(store.Owner());
    std::optional<NewFile> archive;
    if (!context.dryRun) archive.emplace(options.file);
    Snapshot snapshot(store.Owner(), context, [&archive](std::string_view bytes) {
        if (archive) archive->Write(bytes);
    });
    snapshot.Take();
    if (archive) archive->Keep(options.force);
    PrintTaken(snapshot, store.Owner(), context);
    if (snapshot.LeftOut() == 0) return;
    throw Failure(ExitStatus::PartlyDone,
                  Counted(snapshot.LeftOut(), "file", "files") + " could not be taken as a whole");
}

}  // namespace

void RegisterSnapshot(const Command& app, Context& context) {
    auto options = std::make_shared<SnapshotOptions>();
    const Command command = app.AddCommand(
        "snapshot",
        {"Copy the calendars and items of a mailbox into a zip archive",

         "Each calendar is taken while its block file is held, so it is of one moment, and no "
         "swap\n"
         "is in its way; programs of the store may work meanwhile. Items are taken as they stand.\n"
         "One that changes while it is taken is named, and so is what could not be taken; the "
         "exit\n"
         "status is 4 then. The archive takes its name when it is whole. Any program opens it;\n"
         "restore brings it back.\n",

         "  tarnwick-admin snapshot sales/anna anna.zip\n"
         "  tarnwick-admin snapshot sales/anna anna.zip --force\n"});
    AddMailboxOption(command, options->mailbox);
    command.AddOption("file", options->file, "The archive to write").Required();
    command.AddFlag("--force", options->force, "Replace an archive that is there");
    AddDryRunOption(command, context);
    command.OnRun([options, &context] { Run(*options, context); });
}

}  // namespace tarnwick::admin
