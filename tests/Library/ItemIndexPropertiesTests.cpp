#include "Library/ItemIndexProperties.h"

#include <gtest/gtest.h>

namespace tarnwick {
namespace {

std::string Card(const std::string& lines) {
    return "BEGIN:VCARD\r\nVERSION:3.0\r\n" + lines + "END:VCARD\r\n";
}
std::string Calendar(const std::string& kind, const std::string& lines) {
    return "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nBEGIN:" + kind + "\r\n" + lines + "END:" + kind +
           "\r\nEND:VCALENDAR";
}

TEST(ItemIndexProperties, AreWhatTheFilesSay) {
    struct Row {
        std::uint32_t type;
        std::string text;
        std::string properties;
    };
    const std::string event =
        "DTSTART:20111231T080000Z\r\nSUMMARY:S\r\nPRIORITY:1\r\nCLASS:PRIVATE\r\n"
        "STATUS:CONFIRMED\r\n";
    const Row rows[] = {
        {0, "From: a\r\nTO:b\r\ncc: c \r\nSubject: d\r\nDate: e\r\n\r\nFrom: body\r\n",
         "FROM=a TO=b CC=c SUBJECT=d MESSAGEDATE=e "},
        {0, "Subject: one\r\n\ttwo\r\n   three \r\nTo: x", "SUBJECT=one two three TO=x "},
        {0, "To: a\nTo: b\n\n", "TO=a "},
        {0, "Subject:\r\n late\r\n\r\n", "SUBJECT=late "},
        {0, "X-From: a\r\n From: no\r\nFrom: b\r\n", "FROM=b "},
        {0, "\r\nFrom: a\r\n", ""},
        {0, std::string(65534, 'x') + "\nTo: late\n", ""},
        {0, std::string(65531, 'x') + "\nTo: cut\n", "TO= "},
        {1, Card("N:Doe;Jo\r\nEMAIL:e\r\nNICKNAME:n\r\n"), "SUBJECT=Jo Doe FROM=e "},
        {1, Card("N:Doe;\r\n"), "SUBJECT=Doe "},
        {1, Card("N:;Jo\r\n"), "SUBJECT=Jo "},
        {1, Card("NICKNAME:n\r\n"), "SUBJECT=n "},
        {1, Card("FN:Anna Smith\r\n"), "SUBJECT=Anna Smith "},
        {1, "none", ""},
        {2, "text\r\n" + Calendar("VEVENT", event) + "\r\nmore",
         "SUBJECT=S MESSAGEDATE=1325318400 "},
        {2, Calendar("VEVENT", event).substr(0, 60), ""},
        {2, "END:VCALENDAR" + Calendar("VEVENT", "SUMMARY:S\r\n"), "SUBJECT=S "},
        // A body that looks like its item's end, a cancelled event, damage behind the first.
        {2,
         "X-Item: 1\r\n\r\nBEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:-//Tarnwick//Tarnwick//EN\r\n"
         "BEGIN:VEVENT\r\nDTSTART:\r\nDTEND:\r\nUID:\r\nLOCATION:\r\nDESCRIPTION:a\r\n"
         "SUMMARY:b\r\nEND:VEVENT\r\nEND:VCALENDAR\r\n\r\nSUMMARY:Party\r\nLAST-MODIFIED:\r\n"
         "END:VEVENT\r\nEND:VCALENDAR\r\nbye",
         "SUBJECT=Party "},
        {2, Calendar("VEVENT", "SUMMARY:S\r\nSTATUS:CANCELLED\r\n"), "SUBJECT=S "},
        {2, Calendar("VEVENT", "SUMMARY:S\r\n") + "\r\nBEGIN:VEVENT\r\nEND:VCALENDAR",
         "SUBJECT=S "},
        {3, Calendar("VTODO", event + "LAST-MODIFIED:20120101T000000Z\r\nPERCENT-COMPLETE:40\r\n"),
         "SUBJECT=S MESSAGEDATE=1325318400 IMPORTANCE=2 SENSITIVITY=2 MODIFIEDDATE=1325376000 "},
        {3, Calendar("VTODO", ""), ""},
        {54, "From: x\r\n\r\n", ""},
    };
    for (const Row& row : rows) {
        std::string joined;
        for (const NamedValue& property : ItemIndexProperties(FolderType(row.type), row.text)) {
            joined += property.name + "=" + property.value + " ";
        }
        EXPECT_EQ(joined, row.properties) << row.text.substr(0, 200);
    }
}

}  // namespace
}  // namespace tarnwick
