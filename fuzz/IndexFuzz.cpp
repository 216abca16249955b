// Any file, loaded, changed and saved by the steps in the first line of the input, as by the naive
// index; and the whole input escaped and unescaped.
#include "fuzz/Fuzz.h"
#include "Library/LIBStoreIndexSerialisation/IndexEscape.h"
#include "tests/Library/LIBStoreIndexSerialisation/IndexSteps.h"

namespace tarnwick::fuzz {

void Check(std::string_view input) {
    const std::string text(input.substr(0, 4096));
    for (const bool forAttributeUse : {false, true}) {
        std::string converted = text;
        UnescapeXmlText(converted, forAttributeUse);
        Require(converted == testing::NaiveUnescaped(text, forAttributeUse));
        converted = text;
        EscapeXmlText(converted, forAttributeUse);
        Require(converted == testing::NaiveEscaped(text, forAttributeUse));
    }
    const std::string steps = text.substr(0, text.find('\n'));
    if (steps.size() == text.size()) return;
    Require(testing::Difference(text.substr(steps.size() + 1), steps.substr(0, 20)).empty());
}

}  // namespace tarnwick::fuzz
