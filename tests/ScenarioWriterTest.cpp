#include "scenario/ScenarioWriter.h"

#include <gmock/gmock.h>

#include "scenario/Words.h"

namespace {

using namespace deskphone;

TEST(ScenarioWriter, WritesCommentsAndWordsOfAnyBytesSoThatTheyReadTheSame)
{
    const Words command{"setData", "", "#x", "a b", "\"\\\n\t", std::string("\x01\0\r\x7f\xff", 5), "sip:1"};
    const std::string text = ScenarioWriter().add({1, command, {"# why", "#"}});
    EXPECT_THAT(text, ::testing::StartsWith("# why\n#\nsetData \"\" "));
    EXPECT_EQ(splitLine(text.substr(8, text.size() - 9)), command);
}

TEST(ScenarioWriter, WritesBlocksOfCommandsThatAreGivenAtOnce)
{
    const std::string written =
        "# why\nat-once\n    log 1\n    # and\n    log 2\nend\nat-once\n    log 3\nend\nlog 4\nat-once\n    log 5\nend\n";
    Story story;
    story.add({1, {"log", "1"}, {"# why"}, Block::FIRST});
    story.add({2, {"log", "2"}, {"# and"}, Block::FURTHER});
    story.add({3, {"log", "3"}, {}, Block::FIRST});
    story.add({4, {"log", "4"}});
    story.add({5, {"log", "5"}, {}, Block::FIRST});
    EXPECT_EQ(story.text(), written);
}

}  // namespace
