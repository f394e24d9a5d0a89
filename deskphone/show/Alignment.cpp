#include "show/Alignment.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

namespace deskphone {

namespace {

using Index = std::ptrdiff_t;

/// So many edits are searched at once: each costs time with it, and memory with its square.
constexpr Index MOST_EDITS = 256;

/// A stretch of Eugene Myers' search for the fewest edits that lead from one sequence to the other.
///
/// An edit leaves out a key of either side. A diagonal is how many more keys of the left are used than of the right.
class Stretch {
public:
    Stretch(const Keys& left, const Keys& right, Index leftStart, Index rightStart)
        : m_left(left), m_right(right), m_leftStart(leftStart), m_rightStart(rightStart)
    {
        m_rounds.emplace_back(static_cast<std::size_t>(2 * MOST_EDITS + 3), 0);
        while (!search()) {
            m_rounds.push_back(m_rounds.back());
        }
    }

    /// Where it ends: at the end of both sides, or where most of them is used.
    Index leftEnd() const { return m_leftStart + m_end; }
    Index rightEnd() const { return m_rightStart + m_end - m_diagonal; }

    /// What is equal on the way, the last first.
    std::vector<Aligned> equal() const
    {
        std::vector<Aligned> equal;
        Index left = m_end;
        Index diagonal = m_diagonal;
        for (auto edits = static_cast<Index>(m_rounds.size()) - 1; edits >= 0; --edits) {
            const auto& before = m_rounds[static_cast<std::size_t>(std::max<Index>(edits - 1, 0))];
            const Index afterEdit = edits == 0 ? 0 : start(before, diagonal, edits);
            for (; left > afterEdit; --left) {
                equal.push_back({static_cast<std::size_t>(m_leftStart + left - 1),
                                 static_cast<std::size_t>(m_rightStart + left - 1 - diagonal)});
            }
            if (edits > 0) {
                diagonal += leavesOutRight(before, diagonal, edits) ? 1 : -1;
                left = before[at(diagonal)];
            }
        }
        return equal;
    }

private:
    /// By diagonal, how many keys of the left are used at most.
    using Round = std::vector<Index>;

    static std::size_t at(Index diagonal) { return static_cast<std::size_t>(MOST_EDITS + 1 + diagonal); }

    static bool leavesOutRight(const Round& before, Index diagonal, Index edits)
    {
        return diagonal == -edits || (diagonal != edits && before[at(diagonal - 1)] < before[at(diagonal + 1)]);
    }

    /// Where the edit that comes to this diagonal leads.
    static Index start(const Round& before, Index diagonal, Index edits)
    {
        return leavesOutRight(before, diagonal, edits) ? before[at(diagonal + 1)] : before[at(diagonal - 1)] + 1;
    }

    /// One edit more; true at the end.
    bool search()
    {
        Round& round = m_rounds.back();
        const auto edits = static_cast<Index>(m_rounds.size()) - 1;
        const Index leftSize = static_cast<Index>(m_left.size()) - m_leftStart;
        const Index rightSize = static_cast<Index>(m_right.size()) - m_rightStart;
        Index mostUsed = -1;
        for (Index diagonal = -edits; diagonal <= edits; diagonal += 2) {
            Index left = edits == 0 ? 0 : start(round, diagonal, edits);
            Index right = left - diagonal;
            while (left < leftSize && right < rightSize &&
                   m_left[static_cast<std::size_t>(m_leftStart + left)] ==
                       m_right[static_cast<std::size_t>(m_rightStart + right)]) {
                ++left;
                ++right;
            }
            round[at(diagonal)] = left;
            const bool isInside = left <= leftSize && right <= rightSize;
            // Where there is a choice, both sides are used alike.
            if (isInside && std::pair(left + right, -std::abs(diagonal)) > std::pair(mostUsed, -std::abs(m_diagonal))) {
                mostUsed = left + right;
                m_end = left;
                m_diagonal = diagonal;
            }
        }
        return edits == MOST_EDITS || mostUsed == leftSize + rightSize;
    }

    const Keys& m_left;
    const Keys& m_right;
    const Index m_leftStart;
    const Index m_rightStart;
    std::vector<Round> m_rounds;  // by the number of edits
    Index m_end = 0;              // keys of the left
    Index m_diagonal = 0;
};

}  // namespace

std::vector<Aligned> align(const Keys& left, const Keys& right)
{
    std::vector<Aligned> aligned;
    std::size_t leftDone = 0;
    std::size_t rightDone = 0;
    const auto addUpTo = [&](std::size_t leftEnd, std::size_t rightEnd) {
        for (; leftDone < leftEnd; ++leftDone) {
            aligned.push_back({leftDone, NOWHERE});
        }
        for (; rightDone < rightEnd; ++rightDone) {
            aligned.push_back({NOWHERE, rightDone});
        }
    };
    Index leftStart = 0;
    Index rightStart = 0;
    while (leftStart < static_cast<Index>(left.size()) || rightStart < static_cast<Index>(right.size())) {
        const Stretch stretch(left, right, leftStart, rightStart);
        const std::vector<Aligned> equal = stretch.equal();
        for (auto pair = equal.rbegin(); pair != equal.rend(); ++pair) {
            addUpTo(pair->left, pair->right);
            aligned.push_back({leftDone++, rightDone++});
        }
        leftStart = stretch.leftEnd();
        rightStart = stretch.rightEnd();
    }
    addUpTo(left.size(), right.size());
    return aligned;
}

}  // namespace deskphone
