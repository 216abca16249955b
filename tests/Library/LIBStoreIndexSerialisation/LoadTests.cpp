#include <gtest/gtest.h>

#include "tests/support/IndexStreams.h"
#include "tests/support/ReportRecorder.h"

namespace tarnwick {
namespace {

using testing::MemoryIndexFile;
using testing::ReportRecorder;

TEST(Load, ThenChangeAndSaveInPlace) {
    MemoryIndexFile file(
        "<BASEELEMENT LASTUID=\"x000004d2\"><ELEMENT ID=\"1A2B.MAI\" UID=\"17\"><FROM>a</FROM>"
        "<SUBJECT>b&amp;c</SUBJECT></ELEMENT><ELEMENT ID=\"1A2C.MAI\" UID=\"18\"><FROM>c</FROM>"
        "<SUBJECT>d</SUBJECT></ELEMENT></BASEELEMENT>\r\n");
    StoreIndex index;
    EXPECT_EQ(file.Load(index), kLoadFull);
    EXPECT_EQ(index.Count(), 2U);
    EXPECT_EQ(index.LastUid(), 1234U);
    ASSERT_NE(index.FindById("1A2B.MAI"), nullptr);
    EXPECT_EQ(index.FindById("1A2B.MAI")->Property("SUBJECT"), "b&c");
    EXPECT_TRUE(index.SetProperty(*index.FindById("1A2B.MAI"), "SUBJECT", "b<cd"));
    ASSERT_NE(index.Add("N"), nullptr);
    EXPECT_TRUE(file.Save(index));
    EXPECT_EQ(
        file.bytes,
        "<BASEELEMENT LASTUID=\"x000004d3\"><ELEMENT ID=\"1A2B.MAI\" UID=\"17\"><FROM>a</FROM>"
        "<SUBJECT>b&lt;cd</SUBJECT></ELEMENT><ELEMENT ID=\"1A2C.MAI\" UID=\"18\"><FROM>c</FROM>"
        "<SUBJECT>d</SUBJECT></ELEMENT><ELEMENT ID=\"N\" UID=\"1235\"></ELEMENT>"
        "</BASEELEMENT>\r\n");
}

}  // namespace
}  // namespace tarnwick
