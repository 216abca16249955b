// Contacts that other programs wrote; foreign_reader.py reads their calendars.
#include <gtest/gtest.h>

#include "Library/convert/ContactReader.h"
#include "tests/Library/convert/ItemDescription.h"
#include "tests/support/SharedData.h"

namespace tarnwick {
namespace {

using testing::ReadBytes;
using testing::SharedDataFolder;

std::string Names(const ItemPropertyContainer& contact) {
    std::string names;
    for (const char* name :
         {"PR_SURNAME", "PR_GIVEN_NAME", "PR_MIDDLE_NAME", "PR_DISPLAY_NAME_PREFIX",
          "PR_GENERATION", "PR_NICKNAME", "PR_EMAIL_ADDRESS", "PR_DISPLAY_NAME"}) {
        const PropertyValue* value = contact.Find(name);
        names += (value == nullptr ? "" : std::get<std::string>(*value)) + "|";
    }
    return names;
}

TEST(RealContacts, AreReadWithTheirNamesAndAddresses) {
    const struct {
        const char* file;
        std::size_t count;
        const char* last;
    } rows[] = {
        {"John_Doe_BLACK_BERRY.vcf", 1, "Doe|john||||||John Doe|"},
        {"John_Doe_EVOLUTION.vcf", 1,
         "Doe|John|Richter, James|Mr.|Sr.|Johny|john.doe@ibm.com|Mr. John Richter, James Doe Sr.|"},
        {"John_Doe_GMAIL.vcf", 1,
         "Doe|John|Richter, James|Mr.|Sr.||john.doe@ibm.com|Mr. John Richter, James Doe Sr.|"},
        {"gmail-list.vcf", 3, "White|Doug|||||dwhite@gmail.com|Doug White|"},
        {"gmail-single.vcf", 1, "Dartmouth|Greg||||Gman|gdartmouth@hotmail.com|Greg Dartmouth|"},
        {"outlook-2003.vcf", 1, "Doe|John||Mr.|III|Joey|jdoe@hotmail.com|John Doe III|"},
        {"rfc2426-example.vcf", 2, "||||||howes@netscape.com|Tim Howes|"},
        {"rfc6350-example.vcf", 1,
         "Perreault|Simon|||ing. jr,M.Sc.||simon.perreault@viagenie.ca|Simon Perreault|"},
    };
    const auto folder = SharedDataFolder("contacts");
    if (!std::filesystem::exists(folder)) GTEST_SKIP() << "no files in " << folder;
    for (const auto& row : rows) {
        const ContactReading reading = ReadContactText(ReadBytes(folder / row.file));
        ASSERT_EQ(std::nullopt, reading.failure) << row.file << reading.failure->reason;
        ASSERT_EQ(row.count, reading.contacts.size()) << row.file;
        EXPECT_EQ(row.last, Names(reading.contacts.back())) << row.file;
    }
    const ContactReading old = ReadContactText(ReadBytes(folder / "John_Doe_ANDROID.vcf"));
    ASSERT_EQ(std::nullopt, old.failure) << old.failure->line << old.failure->reason;
    EXPECT_EQ("john.doe@company.com",
              std::get<std::string>(*old.contacts.at(0).Find("PR_EMAIL_ADDRESS")));
}

}  // namespace
}  // namespace tarnwick
