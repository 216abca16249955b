// restore
#include <array>
#include <memory>
#include <optional>

#include "common/Files.h"
#include "common/Retry.h"
#include "provider/CalendarPaths.h"
#include "provider/ModuleState.h"
#include "tools/admin/CalendarLibrary.h"
#include "tools/admin/Commands.h"
#include "tools/admin/Console.h"
#include "tools/admin/Diagnosis.h"
#include "tools/admin/Json.h"
#include "tools/admin/NewFile.h"
#include "tools/admin/RestorePlan.h"
#include "tools/admin/store/FolderListing.h"
#include "tools/admin/store/HeldBlock.h"
#include "tools/admin/store/RepairFiles.h"
#include "tools/admin/store/StoreCheck.h"
#include "tools/admin/store/StoreNames.h"

namespace tarnwick::admin {
namespace {

constexpr OpenMode kReadUnchanged{GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING};

struct RestoreOptions {
    std::string file;
    std::string mailbox;
    bool force = false;
};

// An archive that nobody changes while it is read.
class ArchiveFile : public ByteRange {
  public:
    explicit ArchiveFile(const std::string& path) : path_(path), file_(path, kReadUnchanged) {
        if (!file_.IsOpen() && IsGone(GetLastError())) {
            throw SystemFailure("there is no file " + path);
        }
        const auto size = file_.IsOpen() ? file_.Size() : std::nullopt;
        if (!size) throw SystemFailure("the archive " + path + " cannot be read");
        size_ = static_cast<std::uint64_t>(*size);
    }

    std::uint64_t Size() const override { return size_; }

    void Read(std::uint64_t offset, std::span<char> bytes) override {
        bool isRead = file_.Seek(static_cast<std::int64_t>(offset));
        while (isRead && !bytes.empty()) {
            const auto count = file_.Read(bytes.data(), static_cast<std::uint32_t>(bytes.size()));
            isRead = count && *count != 0;
            if (isRead) bytes = bytes.subspan(*count);
        }
        if (!isRead) throw SystemFailure("the archive " + path_ + " cannot be read");
    }

  private:
    std::string path_;
    File file_;
    std::uint64_t size_ = 0;
};

void RequireReplaceable(const std::string& path) {
    if ((GetFileAttributesA(path.c_str()) & FILE_ATTRIBUTE_READONLY) == 0) return;
    throw Failure(ExitStatus::NotAllowed, "the file " + path + " is read-only");
}

// Brings the files of a plan into the mailbox.
class Restoring {
  public:
    Restoring(ArchiveFile& archive, const Mailbox& mailbox, bool force, const Context& context)
        : archive_(archive),
          mailbox_(mailbox),
          force_(force),
          context_(context),
          folder_(FullPath(CalendarFolder({mailbox.postoffice, mailbox.name, {}}))) {}

    void Run() {
        files_ = PlanRestore(archive_, mailbox_, folder_);
        RequireRoom();
        Compare();
        if (context_.json) lines_.emplace(context_);
        if (!context_.dryRun) MakeFolders();
        Progress progress("restore", files_.size(), !context_.json);
        for (PlannedFile& file : files_) {
            Bring(file);
            progress.Step();
        }
        End();
    }

  private:
    // What does not fit is a slip, or made to fill the disk. What is there needs no more room.
    void RequireRoom() const {
        std::uint64_t needed = 0;
        const FolderListing there(folder_);
        for (const PlannedFile& file : files_) {
            const StoredFile* found = there.Find(file.name);
            if (found == nullptr || found->size != file.member.size) needed += file.member.size;
        }
        std::string folder = folder_;
        while (!folder.empty() && !FileExists(folder)) folder = ParentOf(folder);
        ULARGE_INTEGER free{};
        if (GetDiskFreeSpaceExA(folder.c_str(), &free, nullptr, nullptr) == FALSE) return;
        if (needed <= free.QuadPart) return;
        throw Refusal("what the mailbox lacks of the archive unpacks to " + std::to_string(needed) +
                      " bytes, and " + folder + " has room for " + std::to_string(free.QuadPart));
    }

    // All that speaks against the restore is told before anything is changed.
    void Compare() {
        std::size_t differing = 0;
        for (PlannedFile& file : files_) {
            file.standing = StandingOf(archive_, file);
            if (file.standing != Standing::Differs) continue;
            ++differing;
            if (force_) RequireReplaceable(file.path);
            if (!force_) Note(file.name + " differs from what " + mailbox_.Text() + " has");
        }
        if (differing == 0 || force_) return;
        throw Refusal(Counted(differing, "file differs", "files differ") +
                      ", nothing was changed; --force replaces them and keeps what they were");
    }

    // The mailbox's own folder is its server's to make; the Calendar folder is the library's.
    void MakeFolders() const {
        MakeDirectory(std::string(ParentOf(folder_)));
        PrepareCalendarFolder({mailbox_.postoffice, mailbox_.name, {}});
        if (!FileExists(folder_)) throw SystemFailure("the folder " + folder_ + " cannot be made");
    }

    void Bring(PlannedFile& file) {
        try {
            if (file.standing != Standing::Same) Write(file);
            Tell(file);
        } catch (const Failure& failure) {
            Note(file.name + ": " + failure.what());
            if (left_++ == 0) firstStatus_ = failure.Status();
        }
    }

    void Write(PlannedFile& file) {
        const bool isCalendar = !file.calendar.empty();
        if (isCalendar) TellBlock(mailbox_, file.calendar, context_);
        if (context_.dryRun) return;
        NewFile fresh(file.path);
        ReadZipMember(archive_, file.member,
                      [&fresh](std::string_view bytes) { fresh.Write(bytes); });
        std::optional<HeldBlock> held;
        if (isCalendar) held.emplace(folder_ + "\\" + file.calendar + ".BLK");
        if (held && !held->IsHeld()) throw RefusedChange(mailbox_, file.calendar);
        // A program of the store may have written it since.
        file.standing = StandingOf(archive_, file);
        if (file.standing == Standing::Same) return;
        if (file.standing == Standing::Differs) {
            if (!force_) throw Refusal("another program has written it meanwhile; left");
            if (!KeepCopy(file.path)) throw SystemFailure("what is there cannot be kept; left");
        }
        fresh.Keep(force_);
        if (isCalendar) WriteChangeFlag(folder_ + "\\" + kChangeFlag);
    }

    void Tell(const PlannedFile& file) {
        constexpr const char* kResults[] = {"restored", "unchanged", "replaced"};
        const auto at = static_cast<std::size_t>(file.standing);
        ++counts_[at];
        if (lines_) lines_->Add({{"result", kResults[at]}, {"file", ToUtf8(file.name)}});
        if (file.standing == Standing::Same) return;
        text_ += std::string(kResults[at]) + " " + file.name + "\n";
    }

    void End() {
        const auto& [created, same, replaced] = counts_;
        if (!lines_) {
            PrintDone(text_ + Counted(created, "file", "files") + " restored, " +
                          std::to_string(replaced) + " replaced, " + std::to_string(same) +
                          " unchanged in " + mailbox_.Text(),
                      context_);
        }
        if (left_ == 0) return;
        throw Failure(left_ == files_.size() ? firstStatus_ : ExitStatus::PartlyDone,
                      Counted(left_, "file was", "files were") + " left as they were");
    }

    ArchiveFile& archive_;
    const Mailbox& mailbox_;
    bool force_;
    const Context& context_;
    std::string folder_;
    std::vector<PlannedFile> files_;
    std::optional<JsonLines> lines_;
    std::string text_;
    std::array<std::size_t, 3> counts_{};
    std::size_t left_ = 0;
    ExitStatus firstStatus_ = ExitStatus::Refused;
};

// The mailbox may be new; its postoffice may not, for a slip in its name would make another.
void RequirePostoffice(const Mailbox& mailbox) {
    if (MailRoot().empty()) RequireMailboxFolder(mailbox);
    const std::string folder = FullPath(CalendarFolder({mailbox.postoffice, mailbox.name, {}}));
    const std::string mailboxes(ParentOf(ParentOf(folder)));
    if (FileExists(mailboxes)) return;
    throw SystemFailure("the postoffice has no folder " + mailboxes +
                        "; create it, or correct the name");
}

void Run(const RestoreOptions& options, const Context& context) {
    if (!context.host.empty()) {
        throw WrongUsage("files are restored on this machine alone; leave --host away");
    }
    const Mailbox mailbox = ParseMailbox(options.mailbox);
    LoadCalendarLibrary(context.root);
    RequirePostoffice(mailbox);
    ArchiveFile archive(options.file);
    Restoring(archive, mailbox, options.force, context).Run();
}

}  // namespace

void RegisterRestore(const Command& app, Context& context) {
    auto options = std::make_shared<RestoreOptions>();
    const Command command = app.AddCommand(
        "restore",
        {"Bring the calendars and items of a snapshot into a mailbox",

         "The whole archive is looked at before anything is written: one that is damaged, or no\n"
         "snapshot, changes nothing. A calendar is replaced while its block file is held. What "
         "the\n"
         "mailbox has that differs is named, and replaced with --force alone; what it was stays\n"
         "beside it, with \".kept\" behind its name. What the archive does not have stays. A "
         "restore\n"
         "that was ended on its way is completed by running it again. A mailbox without a folder\n"
         "gets one.\n",

         "  tarnwick-admin restore anna.zip sales/anna --dry-run\n"
         "  tarnwick-admin restore anna.zip sales/ben --force\n"});
    command.AddOption("file", options->file, "The archive that snapshot made").Required();
    AddMailboxOption(command, options->mailbox);
    command.AddFlag("--force", options->force, "Replace what differs, and keep what it was");
    AddDryRunOption(command, context);
    command.OnRun([options, &context] { Run(*options, context); });
}

}  // namespace tarnwick::admin
