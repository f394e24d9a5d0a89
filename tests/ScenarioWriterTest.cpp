#include "scenario/ScenarioWriter.h"

#include <gmock/gmock.h>

#include "scenario/Words.h"

namespace {

using namespace deskphone;

TEST(ScenarioWriter, WritesCommentsAndWordsOfAnyBytesSoThatTheyReadTheSame)
{
    const Words command{"setData", "", "#x", "a b", "\"\\\n\t", std::string("\x01\0\r\x7f\xff", 5), "sip:1"};
    const std::string text = asScenario({1, command, {"# why", "#"}});
    EXPECT_THAT(text, ::testing::StartsWith("# why\n#\nsetData \"\" "));
    EXPECT_EQ(splitLine(text.substr(8, text.size() - 9)), command);
}

}  // namespace
