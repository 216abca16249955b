// Edits of message files against a plain version of them over the C runtime's files.
#include <gtest/gtest.h>

#include <cstdio>

#include "common/Guid.h"
#include "common/Registry.h"
#include "Library/activity/messages/MessageAttachment.h"
#include "Library/activity/messages/MessageHeaders.h"
#include "tests/support/Model.h"
#include "tests/support/ReportRecorder.h"
#include "tests/support/WindowsFixtures.h"

namespace tarnwick {
namespace {

using testing::ScratchFolder;

const std::string kX1000(1000, 'x');
const std::string kNew = "00000001000200030405060708090A0B";

// Letters of a case that add to the message.
const std::pair<char, std::string> kPieces[] = {
    {'a', "A: 1\r\n"},
    {'b', "X-UID: 9\r\n"},
    {'c', "x-uid: "},
    {'d', "X-UID:7\r\n"},
    {'e', "X-TWTempFlags: old\r\n"},
    {'f', "x-twtempflags: \n"},
    {'g', "X-TWTempFlags:a\r\n"},
    {'h', "\r\n"},
    {'i', "\n"},
    {'j', "\r"},
    {'k', std::string("\0k", 2)},
    {'l', kX1000 + std::string(22, 'l')},
    {'m', kX1000 + kX1000 + std::string(47, 'm')},
    {'n', kX1000 + kX1000 + kX1000 + kX1000 + std::string(95, 'n')},
    {'o', "content-type: a/b; c\r\n"},
    {'p', "Content-Type: multipart/mixed;\r\n"},
    {'q', "Content-Type: Multipart/Mixed; boundary=\"B\"\n"},
    {'r', "\tboundary=\"B\"\r\n"},
    {'s', " boundary=xB\n"},
    {'t', "\tBoundary=\"b;\r\n boundary="},
    {'u', "--B--\r\n"},
    {'v', "--b--"},
    {'w', "--"},
    {'x', "body\r\n"},
    {'y', "\x1a"},
};

// Letters of a case that refuse a call from then on.
struct Refusal {
    char letter;
    std::string call;
    std::uint32_t error;
};
const Refusal kRefusals[] = {{'0', "", 0},
                             {'1', "CreateFile m", 5},
                             {'2', "CreateFile m", 2},
                             {'3', "CreateFile _m", 5},
                             {'4', "DeleteFile m", 5}};

// Attachments, as the letters of a case name them.
struct Attachment {
    char letter;
    AttachmentRecord part;
    std::string data;
};
const Attachment kAttachments[] = {
    {'G', {}, "foo"},
    {'H', {"<id>", "a.txt", "image/png", "base64", "inline"}, ""},
    {'I', {nullptr, nullptr, "Text/plain", nullptr, nullptr}, std::string(114, '\0') + "f"},
    {'J', {nullptr, "n", "a/b", "quoted-printable", nullptr}, kX1000 + "\xFF"},
    {'K', {"", "", "", "", ""}, "a\nb\r\nc"},
    {'L', {nullptr, nullptr, nullptr, "Base64", nullptr}, kX1000},
};

class Plain {
  public:
    Plain(const Refusal& refused, const std::string& folder)
        : refused_(refused), message_(folder + "\\m"), sibling_(folder + "\\_m") {}
    ~Plain() { Close(); }

    int SetFlags(const std::string& flags, bool dropUid) {
        log += "Setting Message Flags for: " + message_ + "\n";
        if (!Open(in_, message_, "rb"))
            log += "Could not open message file for input: " + message_ + "\n";
        else if (!Open(out_, sibling_, "wb"))
            log += "Could not open message file for writing: " + sibling_ + "\n";
        else {
            bool set = false;
            if (CopyHeader(4096, [&](const std::string& line) {
                    if (Begins(line, "X-TWTempFlags: "))
                        set = true, Put("X-TWTempFlags: " + flags + "\r\n");
                    else if (!dropUid || !Begins(line, "X-UID: "))
                        Put(line);
                })) {
                if (!set) Put("X-TWTempFlags: " + flags + "\r\n");
                CopyRest();
            }
            Swap();
        }
        return 1;
    }

    int SetUid(const std::string& uid, const char* flags) {
        if (!OpenForUid()) {
            if (in_) Swap();
            return 1;
        }
        bool hasUid = false, hasFlags = false;
        if (CopyHeader(2048, [&](const std::string& line) {
                const bool isUid = Begins(line, "X-UID: ");
                hasUid = hasUid || isUid;
                hasFlags = hasFlags || Begins(line, "X-TWTempFlags: ");
                Put(isUid ? uid : line);
            })) {
            if (!hasUid) Put(uid);
            if (flags && !hasFlags) Put(std::string("X-TWTempFlags: ") + flags + "\r\n");
            CopyRest();
        }
        Swap();
        return 1;
    }

    int Strip() {
        if (!OpenForUid()) return 1;
        bool any = false;
        if (CopyHeader(2048, [&](const std::string& line) {
                const bool dropped = Begins(line, "X-UID: ") || Begins(line, "X-TWTempFlags: ");
                any = any || dropped;
                if (!dropped) Put(line);
            }))
            CopyRest();
        if (any) return Swap(), 1;
        Close();
        std::remove(sibling_.c_str());
        return 1;
    }

    int HasFlags() {
        if (!Open(in_, message_, "rb"))
            return output += "Could not open message file for input\r\n", 0;
        bool found = false;
        CopyHeader(2048, [&](const std::string& line) {
            found = found || Begins(line, "X-TWTempFlags: ");
        });
        return found ? 1 : 0;
    }

    int SetField(const std::string& name, const std::string& value, bool create) {
        const std::string field = name + ": " + value + "\r\n";
        const std::string key = name.find(':') == name.npos ? name + ":" : name;
        if (!Open(in_, message_, "rb")) {
            if (error_ != 2 || !create)
                output += "Error: Could not open message file for input. Error Code: " +
                          std::to_string(error_) + "\r\n";
            else if (Open(out_, message_, "wb"))
                Put(field);
            return 1;
        }
        if (!Open(out_, sibling_, "wb")) {
            output += "Error: Could not open message file for writing. Error Code: " +
                      std::to_string(error_) + "\r\n";
            return 1;
        }
        bool set = false;
        const bool ended = CopyHeader(2048, [&](const std::string& line) {
            set = set || Begins(line, key);
            Put(Begins(line, key) ? field : line);
        });
        if (!set) Put(field);
        if (ended) CopyRest();
        Close();
        if (refused_.call != "DeleteFile m") return Swap(), 1;
        output +=
            "Could not remove original copy of message file. Check if file has readonly set or if "
            "there are permissions issues\r\n";
        std::remove(sibling_.c_str());
        return 1;
    }

    int Attach(const AttachmentRecord& part, const std::string& data) {
        Open(in_, message_, "r");
        if (!Open(out_, sibling_, "w")) return 1;
        if (!in_) return Swap(), 1;
        bool multipart = false;
        std::string type, boundary, held;
        std::string line = Line(1024);
        while (!line.empty()) {
            if (!Begins(line, "Content-Type:")) {
                Put(line);
                if (IsEmptyLine(line)) break;
                line = Line(1024);
                continue;
            }
            multipart = multipart || line.find("multipart/mixed") != line.npos;
            type = line;
            if (multipart) Put(line);
            for (line = Line(1024); !line.empty() && (line[0] == ' ' || line[0] == '\t');
                 line = Line(1024)) {
                type += line;
                if (!multipart) continue;
                Put(line);
                const std::size_t at = line.find("boundary=");
                if (at == line.npos) continue;
                boundary = line.substr(std::min(at + 10, line.size()));
                const std::size_t quote = boundary.find('"');
                boundary =
                    boundary.substr(0, quote == line.npos ? boundary.find_first_of("\r\n") : quote);
            }
            if (!multipart) Put("Content-Type: multipart/mixed;\n\tboundary=\"" + kNew + "\"\n");
        }
        while (held.empty() && !(line = Line(1024)).empty()) {
            if (multipart && Lower(line).find(Lower(boundary + "--")) != line.npos)
                held = line;
            else
                Put(line);
        }
        if (multipart)
            Put("--" + boundary + "\n");
        else
            Put("--" + kNew + "\n" + type + "\n" + last_ + "\n--" + kNew + "\n");
        PutPart(part, data);
        Put(multipart ? "\n" + held : "\n--" + kNew + "--\n");
        Swap();
        return 1;
    }

    std::string log, output;

    void Close() {
        for (FILE** file : {&in_, &out_}) {
            if (*file) std::fclose(*file);
            *file = nullptr;
        }
    }

  private:
    static std::string Lower(std::string text) {
        for (char& letter : text)
            letter = static_cast<char>(letter >= 'A' && letter <= 'Z' ? letter + 32 : letter);
        return text;
    }
    static bool Begins(const std::string& line, const std::string& key) {
        return Lower(line).starts_with(Lower(key));
    }
    static bool IsEmptyLine(const std::string& line) { return line[0] == '\r' || line[0] == '\n'; }

    bool Open(FILE*& file, const std::string& path, const char* mode) {
        const bool refused = refused_.call == "CreateFile " + path.substr(path.rfind('\\') + 1);
        file = refused ? nullptr : std::fopen(path.c_str(), mode);
        error_ = refused ? refused_.error : 2;
        return file != nullptr;
    }
    bool OpenForUid() {
        const bool opened = Open(in_, message_, "rb");
        if (opened && Open(out_, sibling_, "wb")) return true;
        output += std::string("Could not open message file for ") + (opened ? "writing" : "input") +
                  "\r\n";
        return false;
    }
    void Swap() {
        Close();
        if (refused_.call != "DeleteFile m") std::remove(message_.c_str());
        std::rename(sibling_.c_str(), message_.c_str());
    }
    // As fgets with a buffer of this size, but for NULs.
    std::string Line(std::size_t size) {
        std::string line;
        for (int byte = 0;
             line.size() < size - 1 && byte != '\n' && (byte = std::getc(in_)) != EOF;) {
            line += static_cast<char>(byte);
        }
        if (!line.empty()) last_ = line;
        return line;
    }
    void Put(const std::string& text) { std::fwrite(text.data(), 1, text.size(), out_); }
    // Gives each header line to `edit`; true when the empty line was read, which CopyRest writes.
    template <typename Edit>
    bool CopyHeader(std::size_t size, Edit edit) {
        for (std::string line; !(line = Line(size)).empty(); edit(line)) {
            if (IsEmptyLine(line)) return true;
        }
        return false;
    }
    void CopyRest() {
        Put(last_);
        for (int byte; (byte = std::getc(in_)) != EOF;) std::putc(byte, out_);
    }
    void PutPart(const AttachmentRecord& part, const std::string& data) {
        const std::string type = part.contentType ? part.contentType : "application/octet-stream";
        std::string encoding = Begins(type, "text/") ? "quoted-printable" : "base64";
        if (part.transferEncoding) encoding = part.transferEncoding;
        Put("Content-Type: " + type);
        if (part.name) Put(std::string(";\n\tname=\"") + part.name + "\"");
        Put("\nContent-Transfer-Encoding: " + encoding + "\n");
        if (part.contentId) Put(std::string("Content-ID: ") + part.contentId + "\n");
        if (part.disposition) Put(std::string("Content-Disposition: ") + part.disposition + "\n");
        Put("\n");
        if (encoding != "base64" && encoding != "quoted-printable") return Put(data);
        std::string text;
        for (std::size_t at = 0; at < data.size(); at += 3) {
            const auto byte = [&](std::size_t i) {
                return i < data.size() ? static_cast<unsigned char>(data[i]) : 0U;
            };
            const unsigned bits = byte(at) << 16 | byte(at + 1) << 8 | byte(at + 2);
            for (unsigned digit = 0; digit < 4; ++digit) {
                text += at + digit > data.size()
                            ? '='
                            : "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/"
                                  [bits >> (18 - 6 * digit) & 63];
            }
        }
        for (std::size_t at = 0; at < text.size(); at += 76) Put(text.substr(at, 76) + "\n");
    }

    Refusal refused_;
    std::string message_, sibling_, last_;
    FILE* in_ = nullptr;
    FILE* out_ = nullptr;
    std::uint32_t error_ = 0;
};

// Letters of a case that edit the message: the result of the product and of the plain version.
std::pair<int, int> Edit(char letter, const std::string& in, Plain& plain) {
    const std::string path = in + "\\m";
    const auto setField = [&](const char* name, const char* value, bool create) {
        SetMessageHeaderField(path, name, value, create);
        return std::pair{1, plain.SetField(name, value, create)};
    };
    for (const auto& [name, part, data] : kAttachments) {
        if (name != letter) continue;
        const AttachmentData bytes{data.data(), static_cast<std::uint32_t>(data.size())};
        return {AddAttachmentToMessage(path, part, bytes), plain.Attach(part, data)};
    }
    switch (letter) {
        case 'A':
            return {SetMessageTempFlags(in, "m", "new", false), plain.SetFlags("new", false)};
        case 'B':
            return {SetMessageTempFlags(in, "m", "", true), plain.SetFlags("", true)};
        case 'C':
            return {SetMessageUid(in, "m", 0, 5, {}), plain.SetUid("X-UID: 5\r\n", nullptr)};
        case 'D':
            return {SetMessageUid(in, "m", 3, 4294967295, ""),
                    plain.SetUid("X-UID: 3.4294967295\r\n", "")};
        case 'E':
            return {StripMessageUidAndFlags(in, "m", 1, 2), plain.Strip()};
        case 'F':
            return {HasMessageTempFlags(in, "m"), plain.HasFlags()};
        case 'M':
            return setField("a", "2", true);
        default:
            return setField("X-UID:", "", false);
    }
}

std::string Told(int result, std::string told, const ScratchFolder& folder) {
    for (std::size_t at; (at = told.find(folder.Path())) != told.npos;)
        told.replace(at, folder.Path().size(), "@");
    return std::to_string(result) + " " + told + folder.Contents();
}

std::string DifferenceIn(const std::string& text) {
    static const ScratchFolder ours, plains;
    ours.Clear(), plains.Clear();
    Refusal refusal = kRefusals[0];
    std::string added;
    for (const char letter : text) {
        for (const auto& [name, piece] : kPieces) added += name == letter ? piece : "";
        for (const Refusal& refused : kRefusals)
            refusal = refused.letter == letter ? refused : refusal;
        if (letter < 'A' || letter > 'N') continue;
        if (!added.empty()) {
            const std::string bytes = testing::ReadBytesOf(ours.Path("m")) + added;
            for (const ScratchFolder* folder : {&ours, &plains})
                testing::WriteBytesTo(folder->Path("m"), bytes);
            added.clear();
        }
        Plain plain(refusal, plains.Path());
        const testing::ReportRecorder reports;
        const auto [result, wanted] = [&] {
            testing::CallRecorder calls;
            calls.FailAll(refusal.call, refusal.error);
            return Edit(letter, ours.Path(), plain);
        }();
        plain.Close();
        const std::string told = Told(
            result,
            reports.Joined(ReportChannel::Trace) + reports.Joined(ReportChannel::StandardOutput),
            ours);
        const std::string model = Told(wanted, plain.log + plain.output, plains);
        if (told != model) return "product: " + told + "\nmodel: " + model;
    }
    return "";
}

TEST(MessageModel, EveryEditDoesWhatThePlainOneDoes) {
    const testing::ScratchRegistry registry;
    testing::ScratchRegistry::SetDword(HKEY_LOCAL_MACHINE, kProductKey, "UID Branding Enabled", 2);
    SetGuidSource([] { return Guid{1, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}}; });
    testing::CompareWithModel(
        "abcdefghijklmnopqrstuvwxy"
        "ahhhijpprrruvwxx"
        "0001234"
        "ABCDEFGHIJKLMN"
        "ABCDEGGGGGM",
        1, 700, 14, DifferenceIn);
}

}  // namespace
}  // namespace tarnwick
