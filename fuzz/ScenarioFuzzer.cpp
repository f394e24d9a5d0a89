// Any bytes as a line of a scenario: it is split or refused, and what was split reads the same when written again.

#include <cstdint>
#include <cstdlib>

#include "scenario/ScenarioWriter.h"
#include "scenario/Words.h"

using namespace deskphone;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Words words;
    try {
        words = splitLine(std::string(data, data + size));
    } catch (const Mistake&) {
        return 0;
    }
    if (words.empty()) {
        return 0;
    }
    std::string line = ScenarioWriter().add({1, words});
    line.pop_back();
    if (splitLine(line) != words) {
        std::abort();
    }
    return 0;
}
