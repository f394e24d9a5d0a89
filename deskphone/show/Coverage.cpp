#include "show/Coverage.h"

#include <algorithm>
#include <string>
#include <vector>

#include "telephone/StateTable.h"

namespace deskphone {

namespace {

/// A part of the table: what it lists, and how much of that was reached.
class Part {
public:
    explicit Part(const std::string& title) : m_title(title) {}

    void add(std::string name, int count)
    {
        name.resize(std::max(NAME_WIDTH, name.size() + 1), ' ');
        m_rows += "    " + name + (count == 0 ? "not reached" : std::to_string(count)) + '\n';
        ++m_all;
        m_reached += count == 0 ? 0 : 1;
    }
    std::string text() const
    {
        return m_title + ": " + std::to_string(m_reached) + " of " + std::to_string(m_all) + " reached\n" + m_rows;
    }

private:
    static constexpr std::size_t NAME_WIDTH = 56;

    const std::string m_title;
    std::string m_rows;
    int m_all = 0;
    int m_reached = 0;
};

std::string padded(std::string text, std::size_t width)
{
    text.resize(std::max(width, text.size() + 1), ' ');
    return text;
}

}  // namespace

void Coverage::finish()
{
    Part transitions("Transitions");
    for (const auto& [from, event, to] : transitionTable()) {
        transitions.add(padded(from, 18) + padded(event, 17) + "-> " + to, m_reached.transitions(from, event));
    }
    Part actions("Actions");
    for (const std::string& name : actionNames()) {
        actions.add(name, m_reached.actions(name));
    }
    m_screen.print(transitions.text() + actions.text());
}

}  // namespace deskphone
