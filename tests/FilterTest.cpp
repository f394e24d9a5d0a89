// Which steps a filter passes on, by what they hold.

#include "show/Filter.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace deskphone {
namespace {

/// The numbers of the steps that pass a filter.
struct Passed : Show {
    explicit Passed(std::string& numbers) : m_numbers(numbers) {}
    void add(const Step& step) override { m_numbers += std::to_string(step.number) + ' '; }

    std::string& m_numbers;
};

std::string passed(const Selection& selection, std::vector<Step> steps)
{
    std::string numbers;
    std::vector<std::unique_ptr<Show>> shows;
    shows.push_back(std::make_unique<Passed>(numbers));
    Filter filter(selection, std::move(shows));
    int number = 0;
    for (Step& step : steps) {
        step.number = ++number;
        step.serviceRuns = true;
        filter.add(step);
    }
    return numbers;
}

Step stepWith(const Record& record)
{
    Step step{0, {"reset"}};
    step.records[WORKER].push_back(record);
    return step;
}

Step sessionOf(const std::string& line)
{
    Step step{0, {"LMSCreateSession", line, "7"}};
    step.result = 1;
    return step;
}

Step told(const std::string& id, const std::string& value)
{
    return stepWith(Call{"LocalMgmtIfc.publishData", {List{List{id, id, value}}}});
}

Step lampSet(int state, bool wasOn)
{
    Step step = stepWith(Call{"PhysicalInterfaceServiceIfc.setFPKLamp", {56, state, 5, 0}});
    step.lampWasOn = wasOn;
    return step;
}

TEST(Filter, KnowsALineByEachRecordThatCarriesItOrItsHandle)
{
    const Step detached = stepWith(Call{"CSfi.detachRecSession", {1}});
    const std::string status = "CommunicationsServiceEventIfc.callRecordingStatus";
    Selection ofA;
    ofA.lines = {"a"};
    EXPECT_EQ(passed(ofA, {detached,
                           sessionOf("a"),
                           detached,
                           stepWith(Call{"CSfi.attachRecSession", {1, "x"}}),
                           stepWith(Call{"CSfi.attachRecSession", {2, "a"}}),
                           stepWith(Call{status, {"a", 7, "x"}}),
                           stepWith(Call{status, {"aa", 7, "a"}}),
                           told("call-recording-active", "a;true"),
                           told("call-recording-active", "a;b;true"),
                           stepWith(MachineEvent{"", "a", "", "", "", ""}),
                           stepWith(Refusal{"", "a", ""}),
                           {0, {"setData", "call-recording-active", "a;true"}},
                           {0, {"LMSDestroySession", "1"}},
                           sessionOf("b"),
                           {0, {"LMSDestroySession", "1"}}}),
              "2 3 4 6 8 10 11 12 13 ");
}

TEST(Filter, TakesForAChangeWhatIsNoLongerAsItWas)
{
    Selection changes;
    changes.changes = true;
    EXPECT_EQ(
        passed(changes,
               {stepWith(MachineEvent{"", "a", "E", "S", "T", ""}), stepWith(MachineEvent{"", "a", "E", "S", "S", ""}),
                stepWith(MachineEvent{"", "a", "E", "S", "", ""}), lampSet(3, false), lampSet(3, true),
                lampSet(2, true), told("mode", "x"), told("mode", "x"), told("mode", "y"), told("mode", "x"),
                told("call-recording-active", "a;true"), told("call-recording-active", "b;true"),
                told("call-recording-active", "a;true"), told("call-recording-active", "a;false"),
                stepWith(Call{"LocalMgmtIfc.publishData", {List{List{"mode", "mode", "refused"}}}, true})}),
        "1 4 6 7 9 10 11 12 14 ");
}

}  // namespace
}  // namespace deskphone
