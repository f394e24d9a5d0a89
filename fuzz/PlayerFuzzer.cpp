// Any sequence of commands, played to the whole telephone; a mistake is passed over.

#include <cstdint>
#include <sstream>

#include "WorkerAccess.h"
#include "scenario/Player.h"
#include "scenario/Scenario.h"
#include "telephone/Recorder.h"
#include "telephone/Telephone.h"

using namespace deskphone;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    forgetWorker();
    Recorder recorder;
    Telephone telephone({createMediaRecordingService, createMediaRecordingServiceInvoker}, recorder);
    std::ostringstream output;
    const auto printBoth = [](const Step& step) { return printJson(step) + printText(step, true); };
    Player player(telephone, recorder, printBoth, output, output);
    std::istringstream input(std::string(data, data + size));
    for (std::string line; std::getline(input, line);) {
        try {
            player.playCommand(splitLine(line));
        } catch (const Mistake&) {
            continue;
        }
    }
    return 0;
}
