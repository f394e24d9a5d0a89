// What a telephone leaves behind, as log or scenario, and what is made of such a log.

#include <gmock/gmock.h>

#include <random>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "Program.h"
#include "Terminal.h"

namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;

/// Nor with addresses, nor with the places in the source, which tell apart what has the same text.
std::string withoutTimes(const std::string& log)
{
    return withoutAddresses(std::regex_replace(log, std::regex("(^|\n)20[0-9:T.-]*Z (.*):[0-9]+: "), "$1$2: "));
}

TEST(LogFile, HoldsTheLogThatIsShownWithTimesThreadsAndSourceLines)
{
    const TemporaryFile log;
    const std::string input = "LMSDestroySession 7\nlog 0\nLMSDestroySession 8\n";
    EXPECT_EQ(deskphone("--log-file " + log.name(), input).output, deskphone("", input).output);
    EXPECT_THAT(log.content(),
                MatchesRegex("20[0-9-]+T[0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{6}Z dispatcher 2 RecordingController "
                             "\\./src/RecordingController:[1-9][0-9]*: LMSDestroySession: session with handle==7 not "
                             "found. Couldn't call destroySession.\n"));
}

TEST(LogFile, HoldsNothingThatTheTelephoneAsksForItself)
{
    const TemporaryFile watched;
    const TemporaryFile silent;
    const std::string refused = "activateRecording sip:1\n";
    deskphone("--log 6 --log-file " + watched.name(), refused);
    deskphone("--log 6 --json --log-file " + silent.name(), refused);
    EXPECT_EQ(withoutTimes(watched.content()), withoutTimes(silent.content()));
}

TEST(SavedScenario, PlaysAgainAsItWasPlayed)
{
    const TemporaryFile saved;
    for (const char* const story : {"odd-line-uris.scenario", "stop-and-restart.scenario"}) {
        const std::string file = (SCENARIOS / story).string();
        const std::string output = deskphone("--json --save " + saved.name() + " " + file).output;
        EXPECT_EQ(withoutAddresses(deskphone("--json " + saved.name()).output), withoutAddresses(output));
    }
    deskphone("--save " + saved.name(), "activateRecording \"\x01\\t# \\\"\"\nlog 0");
    EXPECT_EQ(saved.content(), "activateRecording \"\x01\\t# \\\"\"\nlog 0\n");
}

TEST(SavedScenario, NeverReplacesWhatIsPlayed)
{
    const TemporaryFile scenario("log 0\n");
    for (const std::string option : {"--save", "--log-file", "--chart"}) {
        const Played run = deskphone(option + " /tmp/../" + scenario.name() + " " + scenario.name());
        EXPECT_EQ(run.status, 2);
        EXPECT_THAT(run.errors, HasSubstr(option + " would overwrite " + scenario.name()));
        EXPECT_EQ(scenario.content(), "log 0\n");
    }
    EXPECT_THAT(deskphone("--save " + scenario.name() + " --log-file " + scenario.name(), "reset\n").errors,
                HasSubstr("--log-file would overwrite " + scenario.name() + ", which is written"));
}

/// Scenarios of everything that a log tells.
class RandomScenario {
public:
    explicit RandomScenario(unsigned seed) : m_random(seed) {}

    std::string text()
    {
        std::string lines;
        bool runs = false;
        for (int count = 0; count < 60; ++count) {
            const std::string command = next(runs);
            const bool starts = command.find("Ifc") == std::string::npos && command != "reset";
            runs = command != "stop" && (runs || starts);
            lines += command + '\n';
        }
        return lines;
    }

private:
    std::size_t below(std::size_t limit) { return m_random() % limit; }
    std::string oneOf(const std::vector<std::string>& choices) { return choices[below(choices.size())]; }
    std::string number() { return ' ' + std::to_string(below(5)); }

    std::string line()
    {
        return ' ' + oneOf({"sip:100@office", "sip:100@office", "sip:200@office", "sip:300@office", "\"\"",
                            "\"RecordingController: x), callID=1\"", "\"a\\n\\tb = \\\"; c]==0x12, in state: d \"",
                            "%s%n", "bad\xff\xc3(utf"});
    }

    std::string next(bool runs)
    {
        static const std::vector<std::string> tags{"call-recording-mode-config",
                                                   "call-recording-mode",
                                                   "call-recorder-address-config",
                                                   "call-recording-active",
                                                   "a=b",
                                                   "\"no tag\""};
        static const std::vector<std::string> services{"PhysicalInterfaceServiceIfc", "CommunicationsServiceEventIfc",
                                                       "MediaControlServiceIfc", "LocalMgmtIfc"};
        const std::string mode = ' ' + oneOf({"disabled", "manual", "autostart", "allcalls", "allcalls"});
        switch (below(34)) {
            case 0:
            case 1:
            case 2: return "activateRecording" + line();
            case 3: return "deactivateRecording" + line();
            case 4: return "setOriginatingLine" + line();
            case 5:
            case 6: return "setLineStatus" + line() + ' ' + oneOf({"1", "5", "11", "16", "-7"}) + number() + line();
            case 7: return "featureKeyDefinitionChanged" + number() + ' ' + oneOf({"56", "1"});
            case 8:
                return oneOf({"getCallRecordingOn", "getCallRecordingActivated", "getCallRecordingAutostarts",
                              "getCallRecordingUserControllable", "getRecordingActivation",
                              "getRecordingStateMachineCreateNewIfNeeded", "isInCall"}) +
                       line();
            case 9: return "dataChangedEvent call-recording-mode" + mode;
            case 10: return "dataChangedEvent " + oneOf({"function-key-id-3 56", "mobility-user-data-update x"});
            case 11:
            case 12:
            case 13: return "setRecordingModeConfig" + mode;
            case 14: return "setDataItem " + std::to_string(1 + below(7)) + mode;
            case 15: return "getDataItem " + std::to_string(1 + below(7));
            case 16: return "getData " + oneOf(tags) + ' ' + oneOf(tags);
            case 17: return "setData " + oneOf(tags) + mode + ' ' + oneOf(tags) + " \"x=\\ny\"";
            case 18: return oneOf({"eventRecordingStarted", "eventRecordingStopped"}) + line();
            case 19: return "setRecordingActivation" + line() + ' ' + oneOf({"true", "false"});
            case 20: return "setCallRecMode" + mode;
            case 21: return oneOf({"resynchronizeDataSets", "dumpStateMachines", "getSelectedLineRecordingOn"});
            case 22:
                return "handleMessage " + oneOf({"activateRecording:14:sip:100@office", "\"x\\n\""}) + ' ' +
                       oneOf({"service", "service", "none", "wrong"});
            case 23: return oneOf({"missing ", "wrong ", "present "}) + oneOf(services);
            case 24: return runs ? "stop" : "start";
            case 25: return runs || below(2) == 0 ? "reset" : "start no-store";
            case 26: return "LMSDestroySession" + number();
            case 27:
            case 28: return "LMSEventAttached" + number() + number() + number();
            case 29: return "LMSEventStreaming" + number() + number() + number();
            case 30: return "LMSEventNotStreaming" + number();
            case 31: return "LMSEventErrorStatus" + number() + number();
            default: return "LMSCreateSession" + line() + number();
        }
    }

    std::mt19937 m_random;
};

/// Another twenty with each --gtest_repeat --gtest_shuffle.
TEST(FieldLog, OfRandomScenariosReplaysToTheSameLog)
{
    const TemporaryFile log;
    const TemporaryFile saved;
    const TemporaryFile again;
    const int round = GTEST_FLAG_GET(shuffle) ? ::testing::UnitTest::GetInstance()->random_seed() : 0;
    const auto first = 20 * static_cast<unsigned>(round);
    for (unsigned seed = first; seed < first + 20; ++seed) {
        const std::string scenario = RandomScenario(seed).text();
        ASSERT_EQ(deskphone("--log 6 --log-file " + log.name(), scenario).status, 0) << scenario;
        const Played replay = deskphone("--from-log " + log.name() + " --save " + saved.name());
        EXPECT_EQ(replay.status, 0) << "seed " << seed << '\n' << replay.errors << scenario;
        EXPECT_THAT(replay.errors, HasSubstr(" commands; the replay logs the same\n"));
        deskphone("--log 6 --log-file " + again.name() + " " + saved.name());
        EXPECT_EQ(withoutTimes(again.content()), withoutTimes(log.content())) << "seed " << seed;
    }
}

/// What the scenario logs at this level.
std::string logOf(const std::string& scenario, int level)
{
    const TemporaryFile log;
    deskphone("--log " + std::to_string(level) + " --log-file " + log.name(), scenario);
    return log.content();
}

/// The story without its own log levels.
std::string storyOf(const std::string& name)
{
    return std::regex_replace(contentOf(SCENARIOS / (name + ".scenario")), std::regex("(^|\n)log [0-9]"), "$1");
}

Played replayOf(const std::string& log, const std::string& options = "")
{
    const TemporaryFile file(log);
    Played replay = deskphone("--from-log " + file.name() + options);
    replay.errors = std::regex_replace(replay.errors, std::regex(file.name()), "LOG");
    return replay;
}

constexpr const char* SAME = " commands; the replay logs the same\n";

TEST(FieldLog, KnowsALineThatMayBeAskedWhetherItIsInACall)
{
    const std::string scenario = "start\nsetRecordingModeConfig manual\nactivateRecording a\nisInCall a\n";
    EXPECT_EQ(replayOf(logOf(scenario, 6)).errors,
              "LOG:34: the log does not tell which line is asked about; one that is known\n4" + std::string(SAME));
}

TEST(FieldLog, TellsWhichServicesWereFoundAtEitherLevel)
{
    for (const int level : {5, 6}) {
        const Played replay = replayOf(logOf(storyOf("missing-services"), level));
        EXPECT_EQ(replay.status, 0) << replay.errors;
        EXPECT_THAT(replay.errors, HasSubstr(": the service starts while it runs: it was stopped before (2 more)\n"));
        EXPECT_EQ(replay.errors.find("no record of level 6") == std::string::npos, level == 6);
    }
}

TEST(FieldLog, IsReadWhateverStandsAroundItsRecords)
{
    const std::string log = logOf(storyOf("every-trace") + "setData call-recording-active x\n", 6);
    const std::regex record("(^|\n)(20[^ ]*) [a-z]+ ([0-9]) ([A-Za-z]+) ([^ ]*): ");
    for (const char* const form :
         {"$1Nov  3 08:36:45 phone mrs[8]: <$3> $4($5) ", "$1[Thread 0x7f (LWP $3)] $4: ", "$1$4 ",
          "$1Nov  3 08:36:45 phone kernel: RecordingController is up\nNov  3 08:36:45 phone mrs[8]: $4 - ",
          "$1[New Thread 0x7f]\n$2 $4: "}) {
        const Played replay = replayOf(std::regex_replace(log, record, form));
        EXPECT_EQ(replay.status, 0) << form << '\n' << replay.errors;
        EXPECT_THAT(replay.errors, EndsWith("\n26" + std::string(SAME))) << form;
    }
}

TEST(FieldLog, IsReadWhateverStandsAroundEachLine)
{
    const std::string log =
        logOf(storyOf("every-trace") + "handleMessage x none\nactivateRecording \"a\\nb\"\ngetData foo\n", 6);
    const auto changed = [&log](const char* from, const char* to) {
        return std::regex_replace(log, std::regex(from), to);
    };
    const std::string records = std::regex_replace(changed("\"", "\\\""), std::regex("\n(?!20|$)"), "\\n");
    for (const std::string& form : {
             changed("(.*)\n", "$1\r\n"),
             changed("(.*)\n", "Nov  3 08:36:45 phone mrs[8]: $1\n"),
             changed("(.*)\n", "$1 (tid 7)\n"),
             changed("(.*)\n", "\x1b[31m$1\x1b[0m  \n"),
             changed("\n(?=\n|$)", ""),
             changed("\n(?!20|$)", "#012"),
             std::regex_replace(records, std::regex("(20[^ ]*) ([a-z]+) [0-9] ([A-Za-z]+) [^ ]*: (.*)\n"),
                                "{\"at\":\"$1\",\"component\":\"$3\",\"line\":12,\"text\":\"$4\",\"by\":\"$2\"}\n"),
         }) {
        const Played replay = replayOf(form);
        EXPECT_THAT(replay.errors, EndsWith("\n28" + std::string(SAME))) << form.substr(0, 300);
    }
}

TEST(FieldLog, KnowsARecordAmongThoseOfAnotherThread)
{
    const std::string two =
        logOf("start\nLMSCreateSession sip:1 7\nLMSEventNotStreaming 1\ngetCallRecordingOn sip:1\n", 6);
    const std::size_t event = two.find("LMSEventNotStreaming(");
    const std::size_t query = two.rfind("\n20", two.find("getCallRecordingOn(line = sip:1)", event)) + 1;
    const std::size_t list = two.find("\tstateMachines", event);
    // The query comes between the lines of a record, and within the event.
    const std::string mixed = two.substr(0, list) + two.substr(query) + two.substr(list, query - list);
    EXPECT_EQ(replayOf(mixed).errors, "4" + std::string(SAME));
    // A query goes on while the event asks the same, and ends behind it.
    const std::string crossing = logOf("start\ngetCallRecordingOn \"\"\nLMSDestroySession 1\ngetRecordingMode\n", 6);
    const std::size_t read = crossing.find("getRecordingActivation");
    const std::size_t rest = crossing.rfind('\n', read) + 1;
    const std::size_t events = crossing.rfind('\n', crossing.find("LMSDestroySession(")) + 1;
    const std::size_t last = crossing.rfind('\n', crossing.size() - 2) + 1;
    EXPECT_EQ(replayOf(crossing.substr(0, rest) + crossing.substr(events, last - events) +
                       crossing.substr(rest, events - rest) + crossing.substr(last))
                  .errors,
              "4" + std::string(SAME));
    // A setting is written while another one is.
    const std::string written = logOf("start\nsetData call-recording-mode-config x\nsetRecorderAddressConfig y\n", 6);
    const std::size_t first = written.rfind('\n', written.find("setDataItem:")) + 1;
    const std::size_t second = written.rfind('\n', written.find("value=y")) + 1;
    EXPECT_EQ(
        replayOf(written.substr(0, first) + written.substr(second) + written.substr(first, second - first)).errors,
        "3" + std::string(SAME));
    // The query asks what the event has just asked, and seems to go on while the event does.
    const std::string both = logOf("start\nLMSDestroySession 1\ngetCallRecordingOn \"\"\n", 6);
    const std::size_t asked = both.rfind('\n', both.find("getDataItem", both.find("LMSDestroySession("))) + 1;
    const std::size_t asks = both.rfind('\n', both.rfind("getCallRecordingOn")) + 1;
    const std::size_t answered = both.rfind('\n', both.rfind("getDataItem")) + 1;
    EXPECT_EQ(replayOf(both.substr(0, asked) + both.substr(asks, answered - asks) + both.substr(asked, asks - asked) +
                       both.substr(answered))
                  .errors,
              "3" + std::string(SAME));
}

TEST(FieldLog, MayGoUpToALevelNowAndToAnotherThen)
{
    const std::string call = "LMSCreateSession a 7\nLMSEventNotStreaming 1\nLMSDestroySession 1\n";
    EXPECT_EQ(replayOf(logOf("start\n" + call + "log 5\n" + call + "log 6\n" + call, 6)).errors,
              "LOG:83: the log goes up to level 5 from about here on\n"
              "LOG:120: the log goes up to level 6 from about here on\n10" +
                  std::string(SAME));
}

/// Line by line, and on with the rest of either.
std::string mixed(const std::string& one, const std::string& other)
{
    std::istringstream first(one);
    std::istringstream second(other);
    std::string both;
    for (std::string line; first || second;) {
        both += std::getline(first, line) ? line + '\n' : "";
        both += std::getline(second, line) ? line + '\n' : "";
    }
    return both;
}

TEST(FieldLog, FollowsOneProcessAmongOthers)
{
    std::string lines;
    for (int count = 0; count < 20; ++count) {
        lines += "getCallRecordingOn " + std::to_string(count) + '\n';
    }
    const std::string log = logOf("start\n" + lines + "LMSCreateSession a 7\nLMSEventAttached 1 3 7\n", 6);
    const std::string longer = logOf("start\n" + lines + lines + lines + lines + lines + "LMSCreateSession b 8\n", 6);
    const auto by = [](const std::string& process, const std::string& records) {
        return std::regex_replace(records, std::regex("(.+)\n+"), "Nov  3 08:36:45 " + process + ": $1\n");
    };
    const std::regex passedOver("LOG:2: another process logs at the same time: its records are passed over .*\n");
    for (const char* const other : {"phone mrs[9]", "other mrs[8]"}) {
        const std::string both = mixed(by("phone mrs[8]", log), by(other, longer));
        const std::string errors = replayOf(both).errors;
        EXPECT_TRUE(std::regex_search(errors, passedOver)) << errors;
        EXPECT_THAT(errors, EndsWith("\n23" + std::string(SAME)));
        EXPECT_THAT(replayOf(both + by(other, log)).errors, EndsWith("\n47" + std::string(SAME)));
    }
    EXPECT_THAT(replayOf(by("phone mrs[8]", log) + by("phone mrs[9]", longer)).errors,
                EndsWith(": the service starts while it runs: it was stopped before\n126" + std::string(SAME)));
}

TEST(FieldLog, TellsTheFirstRecordThatDiffers)
{
    const std::string log = logOf("start\ngetDataItem 5\nfeatureKeyDefinitionChanged 1 56\n", 6);
    const auto changed = [&log](const char* from, const char* to) {
        return replayOf(std::regex_replace(log, std::regex(from), to));
    };
    const Played other = changed("recordingOn = false", "recordingOn = true");
    EXPECT_EQ(other.status, 1);
    EXPECT_EQ(other.errors,
              "3 commands; the replay logs something else, first at LOG:12\n"
              "  the log:    \"MediaRecordingService: updateCallRecordingFPKLamp() recordingOn = true\"\n"
              "  the replay: \"MediaRecordingService: updateCallRecordingFPKLamp() recordingOn = false\"\n");
    EXPECT_THAT(changed("20.*recordingOn = false\n", "").errors,
                HasSubstr("the log ends before its last command does"));
    EXPECT_THAT(
        changed("20.*getRecordingActivation.*\n", "").errors,
        HasSubstr("first at LOG:10\n  the log:    \"RecordingConfigManager: getDataItem:(item=callRecordingMode)"
                  "\"\n  the replay: \"RecordingConfigManager: getRecordingActivation(linuURI=)\"\n"));
    EXPECT_THAT(changed("(20.*)Z(.*Create LMS.*)", "$&\n$1$2").errors,
                HasSubstr("first at LOG:5\n  the log:    \"MediaRecordingService: Create LMSEventDispatcher\"\n"
                          "  the replay: nothing\n"));
    const std::string twice = logOf("start\nfeatureKeyDefinitionChanged 1 56\nfeatureKeyDefinitionChanged 2 56\n", 6);
    const std::regex last("20.*recordingOn = false\n");
    EXPECT_THAT(
        replayOf(std::regex_replace(twice, last, "", std::regex_constants::format_first_only)).errors,
        HasSubstr("first at LOG:11\n  the log:    \"MediaRecordingService: featureKeyDefinitionChanged(keyIndex = "
                  "2, keyFunction = 56)\"\n"));
    EXPECT_EQ(changed("20.*Create LMS.*", "$&\n$&").errors,
              "LOG:5: the record stands twice; the second one is passed over\n3" + std::string(SAME));
}

TEST(FieldLog, TellsWhereARecordIsLostOrStandsTwice)
{
    const std::string log = logOf(
        "setRecordingModeConfig allcalls\nLMSCreateSession a 7\nLMSEventAttached 1 3 7\nLMSDestroySession 1\n", 6);
    const std::regex beginning("\n(20[^ ]*) .*");
    const std::regex command(".*: (setDataItem:.*Config,|LMS[A-Za-z]*\\().*");
    const std::sregex_iterator none;
    std::size_t tried = 0;
    for (std::sregex_iterator record(log.begin(), log.end(), beginning); record != none; ++record) {
        const auto next = std::next(record);
        if (std::regex_match(record->str().substr(1), command) || next == none) {
            continue;
        }
        const auto begin = static_cast<std::size_t>(record->position()) + 1;
        const auto end = static_cast<std::size_t>(next->position()) + 1;
        const auto lines = std::count(log.begin(), log.begin() + next->position() + 1, '\n');
        const std::string whole = log.substr(begin, end - begin);
        const auto first = [](std::ptrdiff_t line) { return "first at LOG:" + std::to_string(line) + "\n"; };
        EXPECT_THAT(replayOf(log.substr(0, begin) + log.substr(end)).errors,
                    HasSubstr(first(lines - std::count(whole.begin(), whole.end(), '\n') + 1)))
            << "without " << whole;
        EXPECT_THAT(replayOf(log.substr(0, end) + "x" + log.substr(begin)).errors, HasSubstr(first(lines + 1)))
            << "twice " << whole;
        ++tried;
    }
    EXPECT_GT(tried, 50U);
}

TEST(FieldLog, SaysWhatItAssumesOfALogThatIsNotWhole)
{
    const std::string log =
        logOf("start\nLMSCreateSession sip:1 7\nLMSCreateSession sip:" + std::string(300, '2') + " 8\n", 6);
    const Played middle = replayOf(log.substr(log.find("LMSCreateSession(") - 80));
    EXPECT_EQ(middle.status, 0);
    EXPECT_THAT(middle.errors,
                HasSubstr("LOG:1: the log begins after the start of the service, which is played first"));
    EXPECT_THAT(
        replayOf(std::regex_replace(log, std::regex("(20.*dump.*\n.*\n\\tstateMachines.{50}).*\n"), "$1\n")).errors,
        ::testing::Not(HasSubstr(SAME)));
    const std::string late =
        logOf("start\nLMSCreateSession a 7\nLMSDestroySession 1\nLMSCreateSession a 8\nLMSEventAttached 2 3 8\n", 6);
    const Played counted = replayOf(late.substr(late.find('\n', late.find("LMSDestroySession(")) + 1), " --save -");
    EXPECT_THAT(counted.errors,
                HasSubstr("LOG:1: the log begins inside an operation: passed over up to where one begins\n"));
    EXPECT_THAT(counted.errors, HasSubstr("LOG:1: sessions are counted from 1: the log's handles have 1 more\n"));
    EXPECT_THAT(counted.output, HasSubstr("start\nLMSCreateSession a 8\n"));
    EXPECT_THAT(counted.output, EndsWith("\nLMSEventAttached 1 3 8\n"));
    const std::regex beginning("20.*LMSCreateSession.lineURI=a, callID=8.\n");
    const Played hole = replayOf(std::regex_replace(late, beginning, ""), " --save -");
    EXPECT_EQ(hole.errors,
              "LOG:59: no record tells what begins here: passed over up to where it is clear (1 more)\n"
              "LOG:87: the log lacks records here that the replay logs\n"
              "4 commands; the replay logs something else, first at LOG:59\n"
              "  the log:    \"RecordingSessionController: createSession()\"\n  the replay: nothing\n");
    EXPECT_THAT(hole.output,
                MatchesRegex("start\nLMSCreateSession a 7\nLMSDestroySession 1\n# lines 59 to 8[0-9] of the "
                             "log: no record.*\nLMSEventAttached 2 3 8\n# line 87 .*\n# lines .*\n"));
    EXPECT_THAT(replayOf(logOf("missing LocalMgmtIfc\nstart\n", 3)).errors,
                HasSubstr("LOG:1: no record tells what the plug-in was given: that takes level 5, better 6\n"));
    const std::regex beyond("(\n20[^\n]{254})[^\n]+");
    EXPECT_EQ(replayOf(std::regex_replace(logOf("start\nLMSEventErrorStatus 9 1\n", 6), beyond, "$1")).errors,
              "LOG:10: the record is cut: what is missing was taken to agree\n2" + std::string(SAME));
    EXPECT_EQ(replayOf("no log\n").errors,
              "LOG:1: there is no record of the plug-in\n0 commands; nothing was compared\n");
    EXPECT_EQ(deskphone("--from-log /nowhere").errors, "deskphone: /nowhere: No such file or directory\n");
}

TEST(FieldLog, IsReadToItsEndHoweverLongItsLinesAre)
{
    std::string scenario = "start\n";
    for (int count = 1; count <= 60; ++count) {
        scenario += "getCallRecordingOn " + std::to_string(count) + '\n';
    }
    for (int count = 0; count < 80; ++count) {
        scenario += "LMSDestroySession 9\n";
    }
    const std::string behind = ' ' + std::string(4000, '-') + '\n';
    EXPECT_EQ(replayOf(std::regex_replace(logOf(scenario, 6), std::regex("\n"), behind)).errors,
              "141" + std::string(SAME));
}

TEST(FieldLog, ShowsOnATerminalHowMuchOfItIsRead)
{
    const std::string record = logOf("start\n", 6);
    std::string others;
    for (int count = 0; count < 9; ++count) {
        others += std::string(std::size_t{1} << 20U, '-') + '\n';
    }
    const TemporaryFile log(record + others + record);
    Terminal terminal("dumb", fs::temp_directory_path(), "--from-log " + log.name() + " --save -");
    const std::string shown = terminal.until("3 commands; the replay logs the same");
    EXPECT_THAT(shown, HasSubstr(log.name() + ": 45 %\r"));
    EXPECT_THAT(shown, HasSubstr("  \rstart"));
    EXPECT_EQ(terminal.status(), 0);
}

/// Every tenth record is torn, left out or doubled.
TEST(FieldLog, ThatIsTornIsReadToItsEndAndSaidToDiffer)
{
    for (unsigned seed = 1; seed <= 30; ++seed) {
        std::mt19937 random(seed);
        std::istringstream lines(logOf(RandomScenario(seed).text(), 6));
        std::string torn;
        for (std::string line; std::getline(lines, line);) {
            const auto fate = random() % 30;
            torn += fate == 0 ? line.substr(0, random() % (line.size() + 1)) + '\n' : fate == 1 ? "" : line + '\n';
            torn += fate == 2 ? line + '\n' : "";
        }
        const Played replay = replayOf(torn);
        EXPECT_EQ(replay.status, 1) << seed << replay.errors;
        EXPECT_THAT(replay.errors, HasSubstr(" commands; the replay logs something else, first at LOG:")) << seed;
    }
}

}  // namespace
