#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <tuple>
#include <utility>

#include "Orders.h"
#include "orders/Judge.h"
#include "show/Screen.h"

namespace deskphone {

/// An order as --order takes it: the points and threads of its deviations, POINT:THREAD,..., or "usual" without any.
std::string codeText(const runtime::orders::Code& code);
/// Throws std::runtime_error for what is none.
runtime::orders::Code readCode(const std::string& text);

/// "1 order", "2 orders".
std::string counted(std::uint64_t count, const std::string& thing);

/// The distinct outcomes of orders.
class Outcomes {
public:
    void add(const Facts& facts, const std::set<std::string>& failures, const runtime::orders::Outcome& order);
    /// An order that ended the process.
    void addFatal(const std::string& failure, unsigned preemptions, const std::string& code);
    /// Those of another process, as it wrote them.
    void merge(const std::string& written);
    std::string written() const;

    std::uint64_t orders() const { return m_orders; }
    std::uint64_t failing() const { return m_failing; }
    std::size_t distinct() const { return m_ways.size(); }

    /// Failures first, then by how many orders led there; what is special is what differs from the commonest outcome.
    std::string report(const Screen& screen) const;

private:
    using Outcome = std::pair<std::set<std::string>, Facts>;
    struct Ways {
        std::uint64_t orders = 0;
        // Of the order with the fewest preemptions.
        unsigned preemptions = 0;
        std::size_t deviations = 0;
        std::string code;

        bool isSimpler(const Ways& other) const
        {
            return std::tie(preemptions, deviations, code) < std::tie(other.preemptions, other.deviations, other.code);
        }
    };

    void add(const Outcome& outcome, const Ways& ways);
    Facts common() const;

    std::map<Outcome, Ways> m_ways;
    std::uint64_t m_orders = 0;
    std::uint64_t m_failing = 0;
};

}  // namespace deskphone
