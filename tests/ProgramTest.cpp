// The program as its users run it, with the shared object that it loads: whole outputs, messages, exit status.

#include <gmock/gmock.h>

#include <algorithm>
#include <string>
#include <vector>

#include "Program.h"

namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::StartsWith;

TEST(Program, PrintsForPeopleWithoutJson)
{
    const Played run = deskphone("--log 2", "setRecordingModeConfig allcalls\nlog 5\nLMSDestroySession 7 # unknown\n");
    EXPECT_THAT(run.output, HasSubstr("1 setRecordingModeConfig allcalls\n"
                                      "    caller      call     SvcRTEContext.getService(\"LocalMgmtIfc\")\n"));
    EXPECT_THAT(run.output, HasSubstr("3 LMSDestroySession 7\n"
                                      "    dispatcher  trace    RecordingController: "
                                      "LMSDestroySession(recordingSessionHandle=7)\n"));
    EXPECT_THAT(run.output,
                HasSubstr("    dispatcher  lamp on  PhysicalInterfaceServiceIfc.setFPKLamp(56, 3, 5, 0)\n"));
}

TEST(Program, PlaysSeveralFilesAsOneRun)
{
    const TemporaryFile first("start\nlog 0");
    const TemporaryFile second("getSelectedLine\n");
    const Played run = deskphone("--json --log 0 " + first.name() + " " + second.name() + " -", "stop");
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.output, HasSubstr("{\"step\":3,\"command\":[\"getSelectedLine\"]}\n{\"step\":3,\"result\":\"\"}\n"
                                      "{\"step\":4,\"command\":[\"stop\"]}\n{\"step\":4,\"result\":null}\n"));
}

TEST(Program, RefusesAMistakeWithItsPlaceAfterWhatWasPlayed)
{
    const std::vector<std::pair<std::string, std::string>> mistakes = {
        {"record sip:1", "record"},
        {"stop", "stop"},
        {"start\nstart", "start"},
        {"start later", "later"},
        {"activateRecording", "LINE"},
        {"activateRecording a b", "\"b\""},
        {"setLineStatus a eleven", "eleven"},
        {"setLineStatus a 2147483648", "2147483648"},
        {"setLineStatus a +1", "+1"},
        {"getDataItem 8", "8"},
        {"log 7", "7"},
        {"setRecordingActivation a yes", "yes"},
        {"setData a b c", "VALUE"},
        {"getData", "TAG"},
        {"missing OtherIfc", "OtherIfc"},
        {"handleMessage text other", "other"},
        {"getCallRecordingOn \"a", "quote"},
        {"getCallRecordingOn \"a\\x\"", "\\x"},
        {"getCallRecordingOn \"a\"b", "blank"},
        {"getCallRecordingOn a\"b", "quote"},
        {"end", "at-once"},
        {"at-once now", "\"now\""},
    };
    for (const auto& [lines, word] : mistakes) {
        const TemporaryFile file("# comment\n\nlog 0\n" + lines + "\nlog 1\n");
        const Played run = deskphone("--json " + file.name());
        const auto line = 4 + std::count(lines.begin(), lines.end(), '\n');
        EXPECT_EQ(run.status, 2) << lines;
        EXPECT_THAT(run.errors, AllOf(StartsWith(file.name() + ":" + std::to_string(line) + ": "), HasSubstr(word)));
        EXPECT_THAT(run.output, StartsWith("{\"step\":1,\"command\":[\"log\",\"0\"]}\n{\"step\":1,\"result\":null}\n"));
        EXPECT_THAT(run.output, ::testing::Not(HasSubstr("\"log\",\"1\"")));
        EXPECT_EQ(std::count(run.output.begin(), run.output.end(), '\n'), line == 4 ? 2 : 9) << run.output;
    }
}

TEST(Program, PlaysWhatIsGivenAtOnceOneAfterTheOther)
{
    const std::string block = "at-once\n    start\n    reset\nend\n";
    const TemporaryFile saved;
    const Played run = deskphone("--json --log 0 --save " + saved.name(), block + block);
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.errors, "-:6: start: the service runs already\n");
    EXPECT_THAT(run.output, HasSubstr("{\"step\":1,\"result\":null}\n{\"step\":2,\"command\":[\"reset\"]}\n"));
    EXPECT_EQ(saved.content(), block);
    EXPECT_EQ(deskphone("", "at-once\nreset\n at-once").errors,
              "-:3: at-once: commands are given at once already; expected end before it\n");
    EXPECT_EQ(deskphone("", "reset\n at-once\nreset\n").errors, "-:2: at-once: no end stands behind it\n");
}

TEST(Program, RefusesBadOptionsAndUnreadableFiles)
{
    const TemporaryFile noPlugIn("start\n");
    for (const std::string& arguments :
         {std::string("--log 7"), std::string("--log x"), std::string("--unknown"), std::string("--plugin"),
          std::string("--plugin /nowhere.so"), "--plugin " + noPlugIn.name(), std::string("/nowhere.scenario"),
          std::string("/")}) {
        const Played run = deskphone(arguments);
        EXPECT_EQ(run.status, 2) << arguments;
        EXPECT_NE(run.errors, "") << arguments;
        EXPECT_EQ(run.output, "") << arguments;
    }
    EXPECT_EQ(deskphone("--help").status, 0);
    EXPECT_THAT(deskphone("--help").output, HasSubstr("handleMessage TEXT [service|none|wrong]"));
    EXPECT_THAT(deskphone("--version").output, StartsWith("deskphone "));
}

TEST(Program, LoadsThePlugInThatIsNamed)
{
    const TemporaryFile copy(contentOf(PLUGIN_FILE));
    const Played run = deskphone("--json --log 0 --plugin " + copy.name(), "getRecordingMode\n");
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_THAT(run.output, HasSubstr("{\"step\":1,\"result\":\"disabled\"}"));
}

TEST(Program, ReplaysItsOwnLogOfOneCommandAmongTheLinesOfOthers)
{
    const TemporaryFile log;
    deskphone("--log 6 --log-file " + log.name(), "start\n");
    const TemporaryFile mixed("Nov 23 10:00:00 phone kernel: link is up\n" + log.content());
    const Played replay = deskphone("--from-log " + mixed.name());
    EXPECT_EQ(replay.status, 0);
    EXPECT_EQ(replay.errors, "1 command; the replay logs the same\n");
}

/// The plug-in with other words, as long as the ones that they replace, in its log.
std::string plugInThatLogs(const std::string& words, const std::string& insteadOf)
{
    return std::regex_replace(contentOf(PLUGIN_FILE), std::regex(insteadOf), words);
}

TEST(Program, SaysOnceWhenThePlugInsLogTellsNothingOfItsMachines)
{
    const TemporaryFile plugIn(plugInThatLogs("PerformAction", "ExecuteAction"));
    const std::string calls = "LMSCreateSession sip:1 7\nLMSDestroySession 1\nLMSCreateSession sip:1 8\n";
    const Played run = deskphone("--plugin " + plugIn.name(), calls);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.errors,
              "deskphone: the plug-in's log tells nothing of the lines' machines; what they do is not shown\n");
    const TemporaryFile scenario(calls);
    const std::string accept = "--accept " + scenario.name() + " " + scenario.name();
    EXPECT_EQ(deskphone(accept + " --plugin " + plugIn.name()).errors, run.errors);
    fs::remove(scenario.name() + ".expected");
    EXPECT_EQ(deskphone("--json --plugin " + plugIn.name(), calls).errors, "");
    EXPECT_EQ(deskphone("", calls).errors, "");
}

TEST(Program, AsksForTheMachinesWhenNoOperationTellsTheLineAndLeavesNoTrace)
{
    const TemporaryFile plugIn(plugInThatLogs("LMSMakeSession__", "LMSCreateSession"));
    const auto played = [](const std::string& options) {
        const Played run = deskphone("--log 5" + options, "LMSCreateSession sip:1 7\nLMSCreateSession sip:2 8\n");
        return withoutAddresses(std::regex_replace(run.output, std::regex("LMSMakeSession__"), "LMSCreateSession"));
    };
    EXPECT_THAT(played(""), HasSubstr("caller      state    sip:2: IDLE → IN_CALL (IN_CALL)\n"));
    EXPECT_EQ(played(" --plugin " + plugIn.name()), played(""));
}

}  // namespace
