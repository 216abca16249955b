// Edits of message files against a plain version of them over the C runtime's files.
#include <gtest/gtest.h>

#include <cstdio>
#include <optional>
#include <span>

#include "remote/shared/Base64.h"
#include "tests/Library/activity/messages/MessageOperations.h"
#include "tests/support/Model.h"
#include "tests/support/ReportRecorder.h"

namespace tarnwick {
namespace {

using testing::ReadBytesOf;
using testing::ScratchFolder;
using testing::WriteBytesTo;
using Texts = std::vector<std::string>;

const std::string kX1000(1000, 'x');
const std::string kNew = "00000001000200030405060708090A0B";
const std::string kDeclared = "Content-Type: multipart/mixed;\n\tboundary=\"" + kNew + "\"\n";

// Letters of a case, from 'a' on, that add to the message.
const Texts kPieces = {"A: 1\r\n",
                       "X-UID: 9\r\n",
                       "x-uid: ",
                       "X-UID:7\r\n",
                       "X-TWTempFlags: old\r\n",
                       "x-twtempflags: \n",
                       "X-TWTempFlags:a\r\n",
                       "\r\n",
                       "\n",
                       "\r",
                       std::string("\0k", 2),
                       kX1000 + std::string(22, 'l'),
                       kX1000 + kX1000 + std::string(47, 'm'),
                       kX1000 + kX1000 + kX1000 + kX1000 + std::string(95, 'n'),
                       "content-type: a/b; c\r\n",
                       "Content-Type: multipart/mixed;\r\n",
                       "Content-Type: Multipart/Mixed; boundary=\"B\"\n",
                       "\tBoundary=\"b\"; boundary=\"B\"\r\n",
                       " boundary=xB\n",
                       "\tBoundary=\"b;\r\n boundary=",
                       "--B--\r\n",
                       "--b--",
                       "--",
                       "body\r\n",
                       "\x1a",
                       "---\r\n"};

// Letters of a case, from '0' on, that refuse a call from then on.
struct Refusal {
    std::string call;
    std::uint32_t error;
};
const std::vector<Refusal> kRefusals = {
    {"", 0}, {"CreateFile m", 5}, {"CreateFile m", 2}, {"CreateFile _m", 5}, {"DeleteFile m", 5}};

// Letters of a case, from 'H' on, that add an attachment.
const std::vector<std::pair<AttachmentRecord, std::string>> kAttachments = {
    {{}, "foo"},
    {{"<id>", "a.txt", "image/png", "base64", "inline"}, ""},
    {{nullptr, nullptr, "Text/plain", nullptr, nullptr}, std::string(114, '\0') + "f"},
    {{nullptr, "n", "a/b", "quoted-printable", nullptr}, kX1000 + "\xFF"},
    {{"", "", "", "", ""}, "a\nb\r\nc"},
    {{nullptr, nullptr, nullptr, "Base64", nullptr}, kX1000}};

std::string Lower(std::string text) {
    for (char& letter : text)
        letter = static_cast<char>(letter >= 'A' && letter <= 'Z' ? letter + 32 : letter);
    return text;
}
bool Begins(const std::string& line, const std::string& key) {
    return Lower(line).starts_with(Lower(key));
}
bool IsEmptyLine(const std::string& line) {
    return line[0] == '\r' || line[0] == '\n';
}

// As fgets with a buffer of this size, but for NULs.
Texts Lines(const std::string& text, std::size_t size) {
    Texts lines;
    for (std::size_t at = 0; at < text.size(); at += lines.back().size()) {
        const std::size_t end = std::min(text.find('\n', at), at + size - 2);
        lines.push_back(text.substr(at, end + 1 - at));
    }
    return lines;
}

// The lines that begin with `key` become `line` or stay; `missing` is added where there is none.
struct Field {
    std::string key, line, missing;
    bool stays = false, seen = false;
};

// Where the edits differ.
struct Rules {
    std::size_t size = 2048;
    enum { Output, WithError, WithPath } complaint = Output;
    bool onlyWhenSeen = false, addsAtEnd = false, removesUnwritable = false, keepsUndeleted = false;
};
const Rules kSetFlags{.size = 4096, .complaint = Rules::WithPath};
const Rules kSetUid{.removesUnwritable = true};
const Rules kStrip{.onlyWhenSeen = true};
const Rules kSetField{.complaint = Rules::WithError, .addsAtEnd = true, .keepsUndeleted = true};

struct Plain {
    int Edit(const Rules& rules, std::vector<Field> fields) {
        const auto old = Read("rb");
        if (!old) return Complain(rules, "input", message);
        if (refused.call == "CreateFile _m") {
            error = refused.error;
            Complain(rules, "writing", sibling);
            return rules.removesUnwritable ? Swap(false) : 1;
        }
        const auto [header, size] = Header(*old, rules.size);
        std::string text;
        bool anySeen = false;
        for (const std::string& line : header) {
            const auto field = std::find_if(fields.begin(), fields.end(), [&](const Field& each) {
                return Begins(line, each.key);
            });
            text += field == fields.end() || field->stays ? line : field->line;
            if (field != fields.end()) anySeen = field->seen = true;
        }
        for (const Field& field : fields) {
            if (!field.seen && (rules.addsAtEnd || size < old->size())) text += field.missing;
        }
        if (rules.onlyWhenSeen && !anySeen) return std::remove(sibling.c_str()), 1;
        return Write(sibling, text + old->substr(size), "wb"), Swap(rules.keepsUndeleted);
    }

    int HasFlags() {
        const auto old = Read("rb");
        if (!old) return Complain({}, "input", message), 0;
        const Texts header = Header(*old, 2048).first;
        return std::any_of(header.begin(), header.end(),
                           [](const std::string& line) { return Begins(line, "X-TWTempFlags: "); });
    }

    int SetField(const std::string& name, const std::string& value, bool create) {
        const std::string line = name + ": " + value + "\r\n";
        const std::string key = name.find(':') == name.npos ? name + ":" : name;
        if (Read("rb") || error != 2 || !create) return Edit(kSetField, {{key, line, line}});
        if (refused.call != "CreateFile m") Write(message, line, "wb");
        return 1;
    }

    int Attach(const AttachmentRecord& part, const std::string& data) {
        const auto old = Read("r");
        if (refused.call == "CreateFile _m") return 1;
        if (!old) return Write(sibling, "", "w"), Swap(false);
        std::string text, type, boundary, held, last;
        bool multipart = false, inType = false, inHeader = true;
        for (const std::string& line : Lines(*old, 1024)) {
            const bool begins = inHeader && Begins(line, "Content-Type:");
            const bool continues =
                inHeader && !begins && inType && (line[0] == ' ' || line[0] == '\t');
            if (inType && !continues && !multipart) text += kDeclared;
            inType = begins || continues;
            last = line;
            if (begins)
                type = "", multipart = multipart || line.find("multipart/mixed") != line.npos;
            if (inType) type += line;
            if (continues && multipart && line.find("boundary=") != line.npos) {
                boundary = line.substr(std::min(line.find("boundary=") + 10, line.size()));
                const std::size_t quote = boundary.find('"');
                boundary = boundary.substr(
                    0, quote == boundary.npos ? boundary.find_first_of("\r\n") : quote);
            }
            if (!inHeader && multipart && Lower(line).find(Lower(boundary + "--")) != line.npos) {
                held = line;
                break;
            }
            if (!inType || multipart) text += line;
            if (IsEmptyLine(line) && !inType) inHeader = false;
        }
        if (inType && !multipart) text += kDeclared;
        text += multipart ? "--" + boundary + "\n"
                          : "--" + kNew + "\n" + type + "\n" + last + "\n--" + kNew + "\n";
        text += Part(part, data) + (multipart ? "\n" + held : "\n--" + kNew + "--\n");
        return Write(sibling, text, "w"), Swap(false);
    }

    // The lines of the header without the empty one, and their size.
    static std::pair<Texts, std::size_t> Header(const std::string& text, std::size_t size) {
        Texts lines = Lines(text, size);
        lines.erase(std::find_if(lines.begin(), lines.end(), IsEmptyLine), lines.end());
        std::size_t length = 0;
        for (const std::string& line : lines) length += line.size();
        return {lines, length};
    }
    static std::string Part(const AttachmentRecord& part, const std::string& data) {
        const std::string type = part.contentType ? part.contentType : "application/octet-stream";
        std::string encoding = Begins(type, "text/") ? "quoted-printable" : "base64";
        if (part.transferEncoding) encoding = part.transferEncoding;
        std::string text = "Content-Type: " + type;
        if (part.name) text += std::string(";\n\tname=\"") + part.name + "\"";
        text += "\nContent-Transfer-Encoding: " + encoding + "\n";
        if (part.contentId) text += std::string("Content-ID: ") + part.contentId + "\n";
        if (part.disposition)
            text += std::string("Content-Disposition: ") + part.disposition + "\n";
        if (encoding != "base64" && encoding != "quoted-printable") return text + "\n" + data;
        std::string encoded(data.size() * 2 + 5, '\0');
        encoded.resize(
            static_cast<std::size_t>(Base64Encode(std::as_bytes(std::span(data)), encoded)));
        for (std::size_t at = 0; at < encoded.size(); at += 76)
            text += "\n" + encoded.substr(at, 76);
        return text + (encoded.empty() ? "\n" : "\n");
    }

    int Complain(const Rules& rules, const std::string& what, const std::string& path) {
        told += (rules.complaint == Rules::WithError ? "Error: " : "") +
                ("Could not open message file for " + what) +
                (rules.complaint == Rules::Output ? "\r\n"
                 : rules.complaint == Rules::WithError
                     ? ". Error Code: " + std::to_string(error) + "\r\n"
                     : ": " + path + "\n");
        return 1;
    }
    std::optional<std::string> Read(const char* mode) {
        const bool isRefused = refused.call == "CreateFile m";
        FILE* const file = isRefused ? nullptr : std::fopen(message.c_str(), mode);
        error = isRefused ? refused.error : 2;
        if (!file) return std::nullopt;
        std::string text;
        for (int byte; (byte = std::getc(file)) != EOF;) text += static_cast<char>(byte);
        return std::fclose(file), text;
    }
    static void Write(const std::string& path, const std::string& text, const char* mode) {
        FILE* const file = std::fopen(path.c_str(), mode);
        std::fwrite(text.data(), 1, text.size(), file);
        std::fclose(file);
    }
    int Swap(bool keepsUndeleted) {
        const bool undeleted = refused.call == "DeleteFile m";
        if (undeleted && keepsUndeleted) {
            told +=
                "Could not remove original copy of message file. Check if file has readonly set or "
                "if there are permissions issues\r\n";
            std::remove(sibling.c_str());
        }
        if (!undeleted) std::remove(message.c_str());
        std::rename(sibling.c_str(), message.c_str());
        return 1;
    }

    const Refusal& refused;
    const std::string message, sibling;
    std::string told = {};
    std::uint32_t error = 0;
};

// Letters of a case that edit the message: the result of the product and of the plain version.
std::pair<int, int> Edit(char letter, const std::string& in, Plain& plain) {
    const std::string path = in + "\\m", uid = "X-UID: ", flags = "X-TWTempFlags: ";
    switch (letter) {
        case 'A':
        case 'B': {
            const bool dropsUid = letter == 'B';
            const std::string value = dropsUid ? "" : "new", line = flags + value + "\r\n";
            plain.told = "Setting Message Flags for: " + plain.message + "\n";
            std::vector<Field> fields = {{flags, line, line}};
            if (dropsUid) fields.push_back({uid, "", ""});
            return {SetMessageTempFlags(in, "m", value, dropsUid), plain.Edit(kSetFlags, fields)};
        }
        case 'C':
            return {SetMessageUid(in, "m", 0, 5, {}),
                    plain.Edit(kSetUid, {{uid, uid + "5\r\n", uid + "5\r\n"}})};
        case 'D': {
            const std::string line = uid + "3.4294967295\r\n";
            return {SetMessageUid(in, "m", 3, 4294967295, ""),
                    plain.Edit(kSetUid, {{uid, line, line}, {flags, "", flags + "\r\n", true}})};
        }
        case 'E':
            return {StripMessageUidAndFlags(in, "m", 1, 2),
                    plain.Edit(kStrip, {{uid, "", ""}, {flags, "", ""}})};
        case 'F':
            return {HasMessageTempFlags(in, "m"), plain.HasFlags()};
        case 'G':
            return SetMessageHeaderField(path, "a", "2", true),
                   std::pair{1, plain.SetField("a", "2", true)};
        case 'N':
            return SetMessageHeaderField(path, "X-UID:", "", false),
                   std::pair{1, plain.SetField("X-UID:", "", false)};
        default:
            const auto& [part, data] = kAttachments[static_cast<std::size_t>(letter - 'H')];
            const AttachmentData bytes{data.data(), static_cast<std::uint32_t>(data.size())};
            return {AddAttachmentToMessage(path, part, bytes), plain.Attach(part, data)};
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
        if (letter >= 'a') added += kPieces[static_cast<std::size_t>(letter - 'a')];
        if (letter <= '9') refusal = kRefusals[static_cast<std::size_t>(letter - '0')];
        if (letter < 'A' || letter >= 'a') continue;
        if (!added.empty()) {
            const std::string bytes = ReadBytesOf(ours.Path("m")) + added;
            for (const ScratchFolder* folder : {&ours, &plains})
                WriteBytesTo(folder->Path("m"), bytes);
            added.clear();
        }
        Plain plain{refusal, plains.Path("m"), plains.Path("_m")};
        testing::ReportRecorder reports;
        const auto [result, wanted] = [&] {
            testing::CallRecorder calls;
            calls.FailAll(refusal.call, refusal.error);
            return Edit(letter, ours.Path(), plain);
        }();
        std::string reported;
        for (const auto& [channel, report] : reports.Take()) {
            if (channel == ReportChannel::Trace || channel == ReportChannel::StandardOutput)
                reported += report;
        }
        const std::string product = Told(result, reported, ours);
        const std::string model = Told(wanted, plain.told, plains);
        if (product != model) return "product: " + product + "\nmodel: " + model;
    }
    return "";
}

TEST(MessageModel, EveryEditDoesWhatThePlainOneDoes) {
    const testing::ScratchRegistry registry;
    testing::ScratchRegistry::SetDword(HKEY_LOCAL_MACHINE, kProductKey, "UID Branding Enabled", 2);
    SetGuidSource([] { return Guid{1, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}}; });
    testing::CompareWithModel(
        "abcdefghijklmnopqrstuvwxyz"
        "ahhhijpprrruvwxx"
        "0001234"
        "ABCDEFGHIJKLMN"
        "ABCDEHHHHHG",
        1, 700, 14, DifferenceIn);
    // Of the closing lines in three dashes, the first is in two pieces; of two boundaries, the one
    // in other letters is none.
    for (const std::string text : {"phlzH", "prH"})
        EXPECT_TRUE(testing::Agrees(text, DifferenceIn));
}

}  // namespace
}  // namespace tarnwick
