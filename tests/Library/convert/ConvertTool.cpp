// Shows readers that were not written here what the one written here makes of a calendar file.
//
//   convert_tool items FILE     as ItemDescription.h has it
//   convert_tool export FILE    the items as a calendar file
#include <iostream>

#include "Library/convert/CalendarFileText.h"
#include "tests/Library/convert/ItemDescription.h"
#include "tests/support/SharedData.h"

int main(int argumentCount, char** arguments) {
    if (argumentCount != 3) return 2;
    const auto reading = tarnwick::ReadCalendarText(tarnwick::testing::ReadBytes(arguments[2]));
    const bool isExport = arguments[1] == std::string_view("export");
    std::cout << (isExport ? tarnwick::CalendarFileText(reading.items, 0)
                           : tarnwick::testing::Describe(reading));
    return 0;
}
