// Orders of events as the program's users have them: what is explored and told, and an order played again.

#include <gmock/gmock.h>

#include <string>

#include "Terminal.h"

namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

TEST(Stories, FailInNoOrderWithOnePreemption)
{
    for (const auto& file : fs::directory_iterator(SCENARIOS / "orders")) {
        const Played run = deskphone("--explore --preemptions 1 " + file.path().string());
        EXPECT_EQ(run.status, 0) << file << run.output << run.errors;
        EXPECT_THAT(run.output, HasSubstr(" outcomes, 0 orders with a failure\n"));
    }
}

/// The destruction of a session is queued while the next one is made: either can come first.
const std::string TWO_WAYS =
    "log 0\nsetRecordingModeConfig allcalls\nLMSCreateSession sip:1 7\nLMSEventAttached 1 12 7\n"
    "at-once\n    LMSDestroySession 1\n    LMSCreateSession sip:1 8\nend\n";

/// The option that begins here in what was printed.
std::string orderAt(std::size_t option, const std::string& printed)
{
    return printed.substr(option, printed.find(" (", option) - option) + ' ';
}

/// What was printed but for the first line, which tells the time that it took.
std::string withoutTime(const std::string& printed)
{
    return printed.substr(printed.find('\n'));
}

TEST(Explore, TellsWhatOrdersLeadToAndHowTheyDiffer)
{
    const TemporaryFile file(TWO_WAYS);
    const Played run = deskphone("--explore --preemptions 1 " + file.name());
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.errors, "");
    EXPECT_THAT(run.output, AllOf(HasSubstr(" orders with up to 1 preemption, "), HasSubstr("\n2 outcomes, "),
                                  HasSubstr("\n    failure  session 1 has ended and stays attached\n"
                                            "    failure  session 2 is detached without being attached\n"),
                                  HasSubstr("\n    line sip:1: ACTIVATED, session 2 (call 8, media -1)\n"
                                            "        instead of ATTACH_REQUESTED, session 2 (call 8, media -1)\n")));
    for (const std::string jobs : {"1", "3"}) {
        EXPECT_EQ(withoutTime(deskphone("--explore --preemptions 1 --jobs " + jobs + ' ' + file.name()).output),
                  withoutTime(run.output));
    }
}

TEST(Explore, PlaysAnOrderAgainInAnyForm)
{
    const std::string story = TWO_WAYS + "# the end\n";
    const TemporaryFile file(story);
    const std::string outcomes = deskphone("--explore --preemptions 1 " + file.name()).output;
    const std::string fails = orderAt(outcomes.find("--order"), outcomes);
    const Played run = deskphone(fails + file.name());
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.errors,
              "deskphone: session 1 has ended and stays attached\n"
              "deskphone: session 2 is detached without being attached\n");
    EXPECT_THAT(run.output, HasSubstr("\n6 LMSCreateSession sip:1 8\n    caller      call     "));
    EXPECT_THAT(run.output, HasSubstr("worker      call     CSfi.detachRecSession(2)\n"));
    EXPECT_EQ(deskphone(fails + file.name()).output, run.output);
    EXPECT_THAT(deskphone("--ladder " + fails + file.name()).output, HasSubstr("detachRecSession(2)"));

    const std::string keeps = orderAt(outcomes.rfind("--order"), outcomes);
    const TemporaryFile saved;
    const Played json = deskphone("--json --save " + saved.name() + ' ' + keeps + file.name());
    EXPECT_EQ(json.status, 0) << json.errors;
    EXPECT_EQ(saved.content(), story);
    for (const std::string step : {"5", "6"}) {
        EXPECT_EQ(std::string(json.output).find("{\"step\":" + step + ",\"command\""),
                  json.output.rfind("{\"step\":" + step + ",\"command\""));
        EXPECT_THAT(json.output, HasSubstr("{\"step\":" + step + ",\"result\":"));
    }
}

TEST(Explore, DrewTheOrderInThePage)
{
    const std::string page = contentOf(SCENARIOS.parent_path() / "docs" / "orders.md");
    const std::regex story("\n((    .*\n)+    at-once\n(    .*\n)+)");
    std::smatch found;
    ASSERT_TRUE(std::regex_search(page, found, story));
    const TemporaryFile file(std::regex_replace(found[1].str(), std::regex("(^|\n)    "), "$1"));
    const Played run = deskphone("--order 80:4 --ladder --steps 4-5 " + file.name(), "", "COLUMNS=100 ");
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(page, HasSubstr("\n    deskphone --order 80:4 --ladder"));
    EXPECT_THAT(page, HasSubstr("<!-- picture: order -->\n```text\n" + run.output + "```\n<!-- end of picture -->\n"));
}

TEST(Explore, WritesTheLogOfTheOrderThatIsShown)
{
    const TemporaryFile file(std::regex_replace(TWO_WAYS, std::regex("log 0"), "log 5"));
    const TemporaryFile log;
    deskphone("--order usual --log-file " + log.name() + ' ' + file.name());
    const std::string content = log.content();
    const std::size_t first = content.find("LMSCreateSession(lineURI=sip:1, callID=7)");
    EXPECT_NE(first, std::string::npos);
    EXPECT_EQ(content.rfind("callID=7)"), content.find("callID=7)")) << "another order's log";
    EXPECT_LT(first, content.find("callID=8)"));
}

TEST(Explore, ShowsAnInterruptedCommandInPieces)
{
    // The second command is let in before the last call of the first one.
    const TemporaryFile file(
        "log 0\nstart\nat-once\n    setData call-recording-mode-config manual\n"
        "    setData call-recorder-address-config sip:2\nend\n");
    const std::string outcomes = deskphone("--explore --preemptions 1 --log 0 " + file.name()).output;
    EXPECT_THAT(outcomes, HasSubstr("1 outcome, 0 orders"));
    std::string pieces;
    for (int point = 0; pieces.find("# goes on\n3 setData") == std::string::npos && point < 200; ++point) {
        pieces = deskphone("--log 0 --order " + std::to_string(point) + ":4 " + file.name()).output;
    }
    EXPECT_THAT(pieces, HasSubstr("\n3 setData call-recording-mode-config manual\n    caller  "));
    EXPECT_THAT(pieces, HasSubstr("\n4 setData call-recorder-address-config sip:2\n"));
    EXPECT_THAT(pieces, HasSubstr("\n# goes on\n3 setData call-recording-mode-config manual\n    caller  "));
}

TEST(Explore, PlaysRandomOrdersFromASeed)
{
    const TemporaryFile file(TWO_WAYS);
    const auto random = [&file](const std::string& options) {
        return deskphone("--random 200 " + options + ' ' + file.name()).output;
    };
    const std::string run = random("--seed 3");
    EXPECT_THAT(run, StartsWith("200 random orders with up to 2 preemptions, "));
    EXPECT_THAT(run, HasSubstr("\n2 outcomes, "));
    EXPECT_EQ(withoutTime(random("--explore --seed 3 --jobs 1")), withoutTime(run));
    EXPECT_NE(withoutTime(random("--seed 1003")), withoutTime(run));
}

TEST(Explore, TakesForGrantedWhatTheScenarioAllows)
{
    const TemporaryFile file("# allowed balance: the host reports the call too early\n" + TWO_WAYS);
    const Played run = deskphone("--explore --preemptions 1 " + file.name());
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.output, HasSubstr("\n2 outcomes, 0 orders with a failure\n"));
}

TEST(Explore, ShowsAFindingInEveryStoryWithTheCommandThatItLeavesUnfinished)
{
    std::string endless = "getData";
    for (int i = 0; i < 30'000; ++i) {
        endless += " call-recording-mode";
    }
    const TemporaryFile alone("# a comment, which allows nothing\nlog 0\nstart\n" + endless + '\n');
    const TemporaryFile atOnce("# a comment, which allows nothing\nlog 0\nat-once\nstart\n" + endless + "\nend\n");
    const std::string goesOn = "goes on for ever: ";
    EXPECT_THAT(deskphone("--explore --preemptions 0 " + atOnce.name()).output, HasSubstr("    failure  " + goesOn));
    for (const std::string& name : {alone.name(), atOnce.name()}) {
        const Played run = deskphone("--json --order usual " + name);
        EXPECT_EQ(run.status, 1);
        EXPECT_THAT(run.errors, StartsWith("deskphone: " + goesOn));
        EXPECT_THAT(run.output, AllOf(HasSubstr("{\"step\":2,\"result\":null}\n{\"step\":3,\"command\":[\"getData\","),
                                      Not(HasSubstr("{\"step\":3,\"result\""))));
    }
}

TEST(Explore, LetsNobodyIntoAServiceThatStopsOrStarts)
{
    const TemporaryFile file(
        "log 0\nLMSCreateSession sip:1 7\nat-once\n    stop\n    LMSEventAttached 1 12 7\n"
        "    start\nend\n");
    const Played run = deskphone("--explore --preemptions 1 " + file.name());
    EXPECT_EQ(run.status, 0) << run.output;
    EXPECT_THAT(run.output, HasSubstr("start: \"not played\""));
    EXPECT_THAT(run.output, HasSubstr("service: stopped"));
}

TEST(Explore, RefusesWhatItCannotPlay)
{
    const TemporaryFile file(TWO_WAYS);
    const std::vector<std::pair<std::string, std::string>> mistakes = {
        {"--explore --json", "--explore does not go with --json"},
        {"--explore --order usual", "--explore does not go with --order"},
        {"--random 10 --check", "--random does not go with --check"},
        {"--order usual --from-log LOG", "--order does not go with --from-log"},
        {"--order 5:", "not 5:"},
        {"--order 5:1,4:1", "not 5:1,4:1"},
        {"--order 5:1x", "not 5:1x"},
        {"--order 9999:1", "does not fit"},
        {"--seed 1", "requires"},
    };
    for (const auto& [options, told] : mistakes) {
        const Played run = deskphone(options + ' ' + file.name());
        EXPECT_EQ(run.status, 2) << options;
        EXPECT_THAT(run.errors, HasSubstr(told));
    }
    const std::vector<std::pair<std::string, std::string>> scripts = {
        {"start\nstart\n", ":2: start: the service runs already\n"},
        {"start\n\nunknown\n", ":3: unknown command \"unknown\""},
        {"at-once\nreset\n", ":1: at-once: no end stands behind it\n"},
        {"# allowed all: no\nreset\n", ":2: cannot allow \"all\"; expected one of balance, "},
        {"# allowed lamp\nreset\n", ":2: expected # allowed WHAT: why\n"},
    };
    for (const auto& [lines, told] : scripts) {
        const TemporaryFile script(lines);
        const Played run = deskphone("--explore " + script.name());
        EXPECT_EQ(run.status, 2) << lines;
        EXPECT_THAT(run.errors, StartsWith(script.name() + told));
    }
}

TEST(Explore, TellsWhatItSawSoFarOnCtrlC)
{
    const TemporaryFile file(TWO_WAYS + "# allowed balance: the host reports the call too early\nreset\n");
    Terminal terminal("dumb", fs::temp_directory_path(), "--explore --preemptions 9 " + file.name());
    terminal.until(" a second, ");
    terminal.type("\x03");
    EXPECT_THAT(terminal.until("\n"), HasSubstr(", interrupted"));
    EXPECT_THAT(terminal.until("\n"), StartsWith("2 outcomes, 0 orders with a failure"));
    EXPECT_EQ(terminal.status(), 0);
}

}  // namespace
