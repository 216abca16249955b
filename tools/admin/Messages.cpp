// message show, headers, flags, attach
#include <algorithm>
#include <charconv>
#include <limits>
#include <memory>

#include "common/Registry.h"
#include "common/Retry.h"
#include "common/Text.h"
#include "Library/activity/messages/MessageAttachment.h"
#include "Library/activity/messages/MessageHeaders.h"
#include "Library/activity/messages/MessageSibling.h"
#include "Library/ItemIndexProperties.h"
#include "tools/admin/Console.h"
#include "tools/admin/Json.h"
#include "tools/admin/MimeOutline.h"
#include "tools/admin/StorePlaces.h"
#include "tools/admin/TextTable.h"

namespace tarnwick::admin {
namespace {

constexpr std::string_view kUidField = "X-UID";
constexpr std::string_view kFlagsField = "X-TWTempFlags";

struct MessageOptions {
    std::string file;
    std::vector<std::string> set;
    std::string uid;
    std::optional<std::string> flags;
    bool dropUid = false;
    bool strip = false;
    std::string attachment;
    std::string name;
    std::string type;
    std::string contentId;
    bool force = false;
};

// How the index calls what a header field says.
std::string IndexName(const HeaderField& field) {
    if (EqualsIgnoreCase(field.name, kUidField)) return "UID";
    if (EqualsIgnoreCase(field.name, kFlagsField)) return "flags";
    const auto properties = ItemIndexProperties(kMailFolder, field.name + ": x\r\n\r\n");
    return properties.empty() ? std::string() : properties.front().name;
}

Json PartJson(const MimePart& part) {
    Json object{{"part", part.number},           {"depth", part.depth},
                {"type", JsonText(part.type)},   {"name", nullptr},
                {"encoding", nullptr},           {"offset", part.offset},
                {"bodyOffset", part.body},       {"bodyLength", part.length},
                {"decodedLength", part.decoded}, {"problem", nullptr}};
    if (!part.name.empty()) object["name"] = JsonText(part.name);
    if (!part.encoding.empty()) object["encoding"] = JsonText(part.encoding);
    if (!part.problem.empty()) object["problem"] = part.problem;
    return object;
}

void Show(const MessageOptions& options, Context& context) {
    const std::string message = ReadStoreFile(StoreFile(options.file, context));
    const std::vector<MimePart> parts = MimeOutline(message);
    std::optional<JsonLines> lines;
    if (context.json) lines.emplace(context);
    std::vector<std::vector<std::string>> rows{
        {"PART", "TYPE", "NAME", "SIZE", "ENCODING", "OFFSET", "BODY", "LENGTH"}};
    std::vector<std::string> problems;
    for (const MimePart& part : parts) {
        if (lines) lines->Add(PartJson(part));
        rows.push_back({part.number, std::string(2 * part.depth, ' ') + part.type, part.name,
                        std::to_string(part.decoded), part.encoding, std::to_string(part.offset),
                        std::to_string(part.body), std::to_string(part.length)});
        if (!part.problem.empty()) problems.push_back("part " + part.number + ": " + part.problem);
    }
    if (!lines) Print(TextTable(rows, FromUtf8));
    for (const std::string& problem : problems) Note(problem);
    if (problems.empty()) return;
    throw Failure(ExitStatus::ProblemsFound,
                  "mail programs will not show all of the message as it was meant");
}

// A message that the library is to edit: it removes or empties one that it cannot copy, so that
// must be known before.
class EditedMessage {
  public:
    EditedMessage(const std::string& file, const Context& context)
        : path_(StoreFile(file, context)),
          folder_(path_.substr(0, path_.find_last_of("\\/"))),
          lock_(folder_, kMailFolder, FolderLock::For::Writing, context) {
        const std::string sibling = PathsOfMessage(path_).sibling;
        if (FileExists(sibling)) {
            throw Failure(ExitStatus::Busy, "the message is being edited: " + sibling +
                                                " has been there for " + AgeOfFile(sibling) +
                                                ". When no program is at it, delete the file");
        }
        RequireWritable(path_);
        const FileHandle folder(CreateFileA(folder_.c_str(), FILE_ADD_FILE,
                                            kShareReadWrite | FILE_SHARE_DELETE, nullptr,
                                            OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr));
        if (!folder.IsValid()) throw SystemFailure("no file can be made in " + folder_);
    }

    const std::string& Path() const { return path_; }
    const std::string& Folder() const { return folder_; }
    std::string Name() const { return path_.substr(folder_.size() + 1); }
    std::string Read() const { return ReadStoreFile(path_); }
    std::vector<HeaderField> Fields() const { return HeaderFieldsOf(Read()); }

  private:
    LibraryMessages messages_;
    std::string path_;
    std::string folder_;
    FolderLock lock_;
};

void RequireEdited(bool isAsMeant, const EditedMessage& message) {
    if (isAsMeant) return;
    throw SystemFailure("the library did not edit " + message.Path() +
                        " as it should; message headers shows what it holds");
}

bool HasControl(std::string_view text) {
    return std::any_of(text.begin(), text.end(),
                       [](char byte) { return (byte >= 0 && byte < ' ') || byte == '\x7f'; });
}

void RequireOneLine(const std::string& what, std::string_view text) {
    if (HasControl(text)) throw WrongUsage(what + " holds a control character");
}

struct FieldSetting {
    std::string name;
    std::string value;
};

FieldSetting ParseSetting(const std::string& text) {
    const std::size_t equals = text.find('=');
    FieldSetting setting{text.substr(0, equals), ""};
    if (equals != text.npos) setting.value = text.substr(equals + 1);
    if (equals == text.npos || setting.name.empty() ||
        setting.name.find_first_of(": \t") != setting.name.npos) {
        throw WrongUsage("\"" + text + "\" sets no header field; write it as Subject=text");
    }
    RequireOneLine("the header field", text);
    return setting;
}

void SetHeaders(const MessageOptions& options, Context& context) {
    std::vector<FieldSetting> settings;
    for (const std::string& text : options.set) settings.push_back(ParseSetting(text));
    const EditedMessage message(options.file, context);
    std::string names;
    for (const auto& [name, value] : settings) {
        names += (names.empty() ? "" : ", ") + name;
        if (context.dryRun) continue;
        SetMessageHeaderField(message.Path(), name, value, false);
        const std::string got = FieldValue(message.Fields(), name);
        RequireEdited(got == HeaderFieldsOf(name + ":" + value).front().value, message);
    }
    if (!context.json) return PrintDone("set " + names + " of " + message.Name(), context);
    JsonLines lines(context);
    for (const auto& [name, value] : settings) {
        lines.Add({{"result", "set"}, {"name", JsonText(name)}, {"value", JsonText(value)}});
    }
}

void Headers(const MessageOptions& options, Context& context) {
    if (!options.set.empty()) return SetHeaders(options, context);
    const std::string message = ReadStoreFile(StoreFile(options.file, context));
    std::optional<JsonLines> lines;
    if (context.json) lines.emplace(context);
    std::vector<std::vector<std::string>> rows{{"OFFSET", "INDEX", "FIELD", "VALUE"}};
    for (const HeaderField& field : HeaderFieldsOf(message)) {
        const std::string index = IndexName(field);
        rows.push_back({std::to_string(field.offset), index, field.name, field.value});
        if (!lines) continue;
        Json object{{"name", JsonText(field.name)},
                    {"value", JsonText(field.value)},
                    {"offset", field.offset},
                    {"index", nullptr}};
        if (!index.empty()) object["index"] = index;
        lines->Add(object);
    }
    if (!lines) Print(TextTable(rows, FromUtf8));
}

struct MessageUid {
    std::uint32_t high = 0;
    std::uint32_t low = 0;
};

MessageUid ParseMessageUid(const std::string& text) {
    MessageUid uid;
    const char* const end = text.data() + text.size();
    auto read = std::from_chars(text.data(), end, uid.low);
    if (read.ec == std::errc() && read.ptr != end && *read.ptr == '.') {
        uid.high = uid.low;
        read = std::from_chars(read.ptr + 1, end, uid.low);
    }
    if (read.ec == std::errc() && read.ptr == end) return uid;
    throw WrongUsage("\"" + text + "\" is no UID; write it as 17 or 3.17");
}

void ShowFlags(const std::vector<HeaderField>& fields, const Context& context) {
    Json object{{"uid", nullptr}, {"flags", nullptr}};
    std::string text;
    const auto show = [&](const char* name, std::string_view field) {
        const bool isThere = std::any_of(
            fields.begin(), fields.end(),
            [&](const HeaderField& found) { return EqualsIgnoreCase(found.name, field); });
        const std::string value = FieldValue(fields, field);
        if (isThere) object[name] = JsonText(value);
        text +=
            std::string(name) + "\t" + (isThere ? ShownBriefly(value, FromUtf8) : "none") + "\n";
    };
    show("uid", kUidField);
    show("flags", kFlagsField);
    if (context.json) return JsonLines(context).Add(object);
    Print(text);
}

void EditFlags(const MessageOptions& options, const EditedMessage& message) {
    const std::string& folder = message.Folder();
    const std::string name = message.Name();
    if (options.strip) StripMessageUidAndFlags(folder, name, 0, 0);
    if (!options.uid.empty()) {
        const MessageUid uid = ParseMessageUid(options.uid);
        SetMessageUid(folder, name, uid.high, uid.low, std::nullopt);
    }
    if (options.flags) SetMessageTempFlags(folder, name, *options.flags, options.dropUid);
    const std::vector<HeaderField> fields = message.Fields();
    const std::string uid = FieldValue(fields, kUidField);
    RequireEdited(!(options.strip || options.dropUid) || uid.empty(), message);
    RequireEdited(options.uid.empty() || !uid.empty(), message);
    RequireEdited(!options.flags || FieldValue(fields, kFlagsField) ==
                                        HeaderFieldsOf("f:" + *options.flags).front().value,
                  message);
}

void Flags(const MessageOptions& options, Context& context) {
    const bool isEdit = options.strip || !options.uid.empty() || options.flags.has_value();
    if (options.dropUid && !options.flags) throw WrongUsage("--drop-uid goes with --flags");
    if (!isEdit) {
        return ShowFlags(HeaderFieldsOf(ReadStoreFile(StoreFile(options.file, context))), context);
    }
    if (!options.uid.empty()) ParseMessageUid(options.uid);
    RequireOneLine("the flags", options.flags.value_or(""));
    const EditedMessage message(options.file, context);
    if (RegistryDwordOr(kProductKey, "UID Branding Enabled", 0) == 0) {
        throw Refusal(std::string("the library edits UID and flags only where \"UID Branding "
                                  "Enabled\" is 1. Set it with\n  reg add \"HKLM\\") +
                      kProductKey +
                      "\" /v \"UID Branding Enabled\" /t REG_DWORD /d 1\n"
                      "or set the field itself: message headers FILE --set X-UID=17");
    }
    if (!context.dryRun) EditFlags(options, message);
    if (context.json) {
        return JsonLines(context).Add({{"result", "edited"}, {"file", JsonText(message.Path())}});
    }
    PrintDone("edited " + message.Name(), context);
}

// What the library would make of the message that nobody wants; empty: nothing.
std::string ProblemWithAttaching(const std::string& message) {
    const std::vector<HeaderField> fields = HeaderFieldsOf(message);
    const auto type = std::find_if(fields.begin(), fields.end(), [](const HeaderField& field) {
        return EqualsIgnoreCase(field.name, "Content-Type");
    });
    if (type == fields.end() || type->value.find("multipart/mixed") == std::string::npos) {
        return "the message is not multipart/mixed: the library would put its text in front of the "
               "first part, where mail programs do not show it";
    }
    const std::string_view rest = std::string_view(message).substr(type->offset);
    const std::size_t boundary = rest.find("boundary=");
    if (boundary < rest.find('\n') || rest.substr(boundary + 9, 1) != "\"") {
        return "the library finds a boundary only in quotes on a line of its own below "
               "Content-Type";
    }
    return {};
}

// RFC 2231, for the file names that are not ASCII.
std::string Disposition(const std::string& name) {
    std::string text = "attachment;\n\tfilename";
    if (std::all_of(name.begin(), name.end(), [](char byte) { return byte > 0; })) {
        return text + "=\"" + name + "\"";
    }
    text += "*=UTF-8''";
    constexpr char kDigits[] = "0123456789ABCDEF";
    for (const char byte : ToUtf8(name)) {
        const auto code = static_cast<unsigned char>(byte);
        const bool isPlain = std::isalnum(code) != 0 || byte == '.' || byte == '-' || byte == '_';
        if (isPlain) {
            text += byte;
        } else {
            text.append({'%', kDigits[code >> 4], kDigits[code & 15]});
        }
    }
    return text;
}

std::string AsciiName(std::string name) {
    std::replace_if(
        name.begin(), name.end(), [](char byte) { return byte <= 0; }, '_');
    return name;
}

void Attach(const MessageOptions& options, Context& context) {
    const std::string data = ReadInput(options.attachment);
    std::string name = options.name;
    if (name.empty()) name = options.attachment.substr(options.attachment.find_last_of("\\/") + 1);
    for (const std::string& text : {name, options.type, options.contentId}) {
        RequireOneLine("what describes the attachment", text);
    }
    if (name.empty() || name == "-" || name.find('"') != name.npos) {
        throw WrongUsage("--name gives the attachment a name, without quotes");
    }
    if (data.size() > std::numeric_limits<std::int32_t>::max()) {
        throw Refusal("the library takes attachments of at most 2147483647 bytes");
    }
    const EditedMessage message(options.file, context);
    const std::string before = message.Read();
    if (const std::string problem = ProblemWithAttaching(before); !problem.empty()) {
        if (!options.force) throw Refusal(problem + "; --force attaches all the same");
        Note(problem);
    }
    if (!context.dryRun) {
        const std::string disposition = Disposition(name);
        const std::string plainName = AsciiName(name);
        // The library declares text as quoted-printable, but writes base64.
        const AttachmentRecord part{
            .contentId = options.contentId.empty() ? nullptr : options.contentId.c_str(),
            .name = plainName.c_str(),
            .contentType = options.type.empty() ? nullptr : options.type.c_str(),
            .transferEncoding = "base64",
            .disposition = disposition.c_str()};
        AddAttachmentToMessage(message.Path(), part,
                               {data.data(), static_cast<std::uint32_t>(data.size())});
        RequireEdited(message.Read().size() > before.size(), message);
    }
    if (!context.json) {
        return PrintDone("attached " + name + ", " + Counted(data.size(), "byte", "bytes"),
                         context);
    }
    JsonLines(context).Add(
        {{"result", "attached"}, {"name", JsonText(name)}, {"size", data.size()}});
}

using MessageAction = void (*)(const MessageOptions&, Context&);

Command AddMessageCommand(const Command& message, const char* name, const CommandHelp& help,
                          Context& context, const std::shared_ptr<MessageOptions>& options,
                          MessageAction action) {
    const Command command = message.AddCommand(name, help);
    command
        .AddOption("file", options->file,
                   "The message file: a path, or postoffice/mailbox/folder/file")
        .Required();
    command.OnRun([options, &context, action] { action(*options, context); });
    return command;
}

void RegisterHeaders(const Command& message, Context& context) {
    auto options = std::make_shared<MessageOptions>();
    const Command command = AddMessageCommand(
        message, "headers",
        {"Show the header fields, or set some",

         "Shown are the offset of each field and how the index calls what it\n"
         "says. A field that is set is replaced wherever it stands, or added.\n",

         "  tarnwick-admin message headers sales/anna/Inbox/0A1B2C3D.MAI\n"
         "  tarnwick-admin message headers mail.mai --set \"Subject=New text\"\n"},
        context, options, Headers);
    AddDryRunOption(command, context);
    command.AddRepeated("--set", options->set, "A field to set, as Name=text; may be repeated");
}

void RegisterFlags(const Command& message, Context& context) {
    auto options = std::make_shared<MessageOptions>();
    const Command command = AddMessageCommand(
        message, "flags",
        {"Show the UID and flags of a message, or set or strip them",

         "They are the fields X-UID and X-TWTempFlags. The library edits them only\n"
         "where \"UID Branding Enabled\" is set in the registry.\n",

         "  tarnwick-admin message flags sales/anna/Inbox/0A1B2C3D.MAI\n"
         "  tarnwick-admin message flags mail.mai --uid 17 --flags Seen\n"
         "  tarnwick-admin message flags mail.mai --strip\n"},
        context, options, Flags);
    AddDryRunOption(command, context);
    const Option uid = command.AddOption("--uid", options->uid, "Sets the UID: 17, or 3.17");
    const Option flags =
        command.AddOption("--flags", options->flags, "Sets the flags to this text");
    command.AddFlag("--drop-uid", options->dropUid, "Takes the UID away while flags are set")
        .Excludes(uid);
    command.AddFlag("--strip", options->strip, "Takes UID and flags away")
        .Excludes(uid)
        .Excludes(flags);
}

void RegisterAttach(const Command& message, Context& context) {
    auto options = std::make_shared<MessageOptions>();
    const Command command = AddMessageCommand(
        message, "attach",
        {"Add an attachment to a message",

         "The message must be multipart/mixed; what follows its closing boundary is dropped.\n"
         "Line breaks become CR LF. --force adds it to any other message too, whose text mail\n"
         "programs then no longer show.\n",

         "  tarnwick-admin message attach sales/anna/Inbox/0A1B2C3D.MAI plan.pdf "
         "--type application/pdf\n"},
        context, options, Attach);
    AddDryRunOption(command, context);
    command.AddOption("attachment", options->attachment, "The file; - is standard input")
        .Required();
    command.AddOption("--name", options->name, "Its name in the message (left out: its own)");
    command.AddOption("--type", options->type,
                      "Its content type (left out: application/octet-stream)");
    command.AddOption("--id", options->contentId, "Its Content-ID");
    command.AddFlag("--force", options->force, "Also where it hides the message's text");
}

}  // namespace

void RegisterMessages(const Command& app, Context& context) {
    const Command message = app.AddCommand(
        "message", {"Show or edit a message file",

                    "A message is postoffice/mailbox/folder/file below the mail root, or a path.\n"
                    "An edit does not change the folder's index: index rebuild does.\n",

                    "  tarnwick-admin message show sales/anna/Inbox/0A1B2C3D.MAI\n"});
    message.NeedsCommand();
    AddMessageCommand(
        message, "show",
        {"Show the outline of the MIME parts",

         "SIZE is that of the decoded part; OFFSET is where its header begins, BODY and\n"
         "LENGTH where its body lies in the file. Status 3 when parts are broken.\n",

         "  tarnwick-admin message show sales/anna/Inbox/0A1B2C3D.MAI\n"},
        context, std::make_shared<MessageOptions>(), Show);
    RegisterHeaders(message, context);
    RegisterFlags(message, context);
    RegisterAttach(message, context);
}

}  // namespace tarnwick::admin
