#include "Library/MailProperties.h"

#include <gtest/gtest.h>

namespace tarnwick {
namespace {

std::string Joined(const std::string& text) {
    std::string joined;
    for (const NamedValue& property : MailProperties(text)) {
        joined += property.name + "=" + property.value + "|";
    }
    return joined;
}

TEST(MailProperties, AreTheFirstOfEachFieldUnfolded) {
    struct Case {
        const char* name;
        std::string text;
        std::string joined;
    };
    const Case cases[] = {
        {"all", "From: a\r\nTO:b\r\ncc: c \r\nSubject: d\r\nDate: e\r\n\r\nFrom: body\r\n",
         "FROM=a|TO=b|CC=c|SUBJECT=d|MESSAGEDATE=e|"},
        {"folded", "Subject: one\r\n\ttwo\r\n   three \r\nTo: x\r\n\r\n",
         "SUBJECT=one two three|TO=x|"},
        {"first wins", "To: a\nTo: b\n\n", "TO=a|"},
        {"empty first line", "Subject:\r\n late\r\n\r\n", "SUBJECT=late|"},
        {"no empty line", "From: a", "FROM=a|"},
        {"other fields and their continuations", "X-From: a\r\n From: no\r\nFrom: b\r\n\r\n",
         "FROM=b|"},
        {"no header", "\r\nFrom: a\r\n", ""},
        {"nothing", "", ""},
        {"beyond the limit", std::string(kMailHeaderLimit, 'x') + "\nFrom: a\n", ""},
    };
    for (const Case& row : cases) EXPECT_EQ(Joined(row.text), row.joined) << row.name;
}

}  // namespace
}  // namespace tarnwick
