#include "scenario/Blocks.h"

#include "scenario/Commands.h"
#include "scenario/Words.h"

namespace deskphone {

bool Blocks::take(Given& command)
{
    const std::string& name = command.words.front();
    if (name != BEGIN && name != END) {
        command.block = m_place;
        m_place = isOpen() ? Block::FURTHER : Block::NONE;
        return false;
    }
    findCommand(command.words);  // one word is enough
    if ((name == END) != isOpen()) {
        throw Mistake(isOpen() ? "at-once: commands are given at once already; expected end before it"
                               : "end: no at-once stands before it");
    }
    m_place = isOpen() ? Block::NONE : Block::FIRST;
    return true;
}

}  // namespace deskphone
