// Any sequence of commands, played to the whole telephone and shown; a mistake is passed over.

#include <cstdint>
#include <sstream>

#include "WorkerAccess.h"
#include "scenario/Player.h"
#include "scenario/Words.h"
#include "show/JsonShow.h"
#include "show/Ladder.h"
#include "show/TextShow.h"
#include "telephone/Telephone.h"

using namespace deskphone;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    forgetWorker();
    Telephone telephone({createMediaRecordingService, createMediaRecordingServiceInvoker}, true);
    Player player(telephone);
    std::ostringstream output;
    const Screen screen{output, true, 100};
    JsonShow json(screen, true);
    TextShow text(screen);
    Ladder ladder(screen);
    std::istringstream input(std::string(data, data + size));
    for (std::string line; std::getline(input, line);) {
        try {
            const Words words = splitLine(line);
            if (words.empty()) {
                continue;
            }
            const Step step = player.play({words});
            for (Show* const show :
                 {static_cast<Show*>(&json), static_cast<Show*>(&text), static_cast<Show*>(&ladder)}) {
                show->add(step);
            }
        } catch (const Mistake&) {
            continue;
        }
    }
    return 0;
}
