// Any bytes as a line of a scenario: it is split or refused, and what was split reads the same when written again.

#include <algorithm>
#include <cstdint>
#include <cstdlib>

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
    std::string line;
    for (const std::string& word : words) {
        // Of the control characters only these two can be written.
        if (std::any_of(word.begin(), word.end(), [](char c) {
                return c != '\n' && c != '\t' && (static_cast<unsigned char>(c) < ' ' || c == '\x7f');
            })) {
            return 0;
        }
        line += asWord(word) + ' ';
    }
    if (splitLine(line) != words) {
        std::abort();
    }
    return 0;
}
