#include "orders/Outcomes.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <vector>

namespace deskphone {

namespace {

using Json = nlohmann::json;
using namespace runtime::orders;

constexpr const char* USUAL = "usual";

}  // namespace

std::string counted(std::uint64_t count, const std::string& thing)
{
    return std::to_string(count) + ' ' + thing + (count == 1 ? "" : "s");
}

std::string codeText(const Code& code)
{
    std::string text;
    for (const Deviation& deviation : code) {
        text += (text.empty() ? "" : ",") + std::to_string(deviation.point) + ':' + std::to_string(deviation.thread);
    }
    return text.empty() ? USUAL : text;
}

Code readCode(const std::string& text)
{
    Code code;
    const char* at = text.data();
    const char* const end = at + text.size();
    const auto read = [&](unsigned& number, char before) {
        at += before != '\0' && at != end && *at == before ? 1 : 0;
        const auto [behind, error] = std::from_chars(at, end, number);
        const bool isRead = (before == '\0' || at[-1] == before) && error == std::errc{};
        at = behind;
        return isRead;
    };
    while (text != USUAL) {
        Deviation deviation{};
        if (!read(deviation.point, code.empty() ? '\0' : ',') || !read(deviation.thread, ':') ||
            (!code.empty() && code.back().point >= deviation.point)) {
            throw std::runtime_error("--order: expected a CODE that --explore printed, not " + text);
        }
        code.push_back(deviation);
        if (at == end) {
            break;
        }
    }
    return code;
}

void Outcomes::add(const Facts& facts, const std::set<std::string>& failures, const runtime::orders::Outcome& order)
{
    Ways& known = m_ways[{failures, facts}];
    const bool isFewer = order.preemptions < known.preemptions ||
                         (order.preemptions == known.preemptions && order.code.size() <= known.deviations);
    if (known.orders == 0 || isFewer) {
        const Ways ways{0, order.preemptions, order.code.size(), codeText(order.code)};
        add({failures, facts}, ways);
    }
    ++known.orders;
    ++m_orders;
    m_failing += failures.empty() ? 0 : 1;
}

void Outcomes::add(const Outcome& outcome, const Ways& ways)
{
    Ways& known = m_ways[outcome];
    const std::uint64_t orders = known.orders + ways.orders;
    if (known.code.empty() || ways.isSimpler(known)) {
        known = ways;
    }
    known.orders = orders;
    m_orders += ways.orders;
    m_failing += outcome.first.empty() ? 0 : ways.orders;
}

void Outcomes::addFatal(const std::string& failure, unsigned preemptions, const std::string& code)
{
    add({{failure}, {{FINDING, failure}}}, {1, preemptions, 0, code});
}

std::string Outcomes::written() const
{
    Json all = Json::array();
    for (const auto& [outcome, ways] : m_ways) {
        all.push_back({outcome.first, outcome.second, ways.orders, ways.preemptions, ways.deviations, ways.code});
    }
    return all.dump(-1, ' ', false, Json::error_handler_t::replace);
}

void Outcomes::merge(const std::string& written)
{
    for (const Json& one : Json::parse(written)) {
        add({one[0].get<std::set<std::string>>(), one[1].get<Facts>()}, {one[2], one[3], one[4], one[5]});
    }
}

/// What all outcomes have in common, but for those of orders that were not played to their end.
Facts Outcomes::common() const
{
    Facts common;
    bool isFirst = true;
    for (const auto& way : m_ways) {
        const Facts& facts = way.first.second;
        if (facts.count(FINDING) != 0) {
            continue;
        }
        if (std::exchange(isFirst, false)) {
            common = facts;
        }
        for (auto fact = common.begin(); fact != common.end();) {
            const auto same = facts.find(fact->first);
            fact = same == facts.end() || same->second != fact->second ? common.erase(fact) : std::next(fact);
        }
    }
    return common;
}

std::string Outcomes::report(const Screen& screen) const
{
    constexpr const char* bold = "1";
    constexpr const char* red = "31";
    const auto row = [](const std::string& name, const std::string& value) {
        return "    " + name + ": " + value + '\n';
    };
    std::vector<std::pair<const Outcome*, const Ways*>> sorted;
    for (const auto& [outcome, ways] : m_ways) {
        sorted.emplace_back(&outcome, &ways);
    }
    std::stable_sort(sorted.begin(), sorted.end(),
                     [](const auto& one, const auto& other) { return one.second->orders > other.second->orders; });
    const auto fails = [](const auto& one) { return !one.first->first.empty(); };
    const auto usual = std::find_if_not(sorted.begin(), sorted.end(), fails);
    const Facts compared = usual != sorted.end() ? usual->first->second : Facts();
    std::stable_partition(sorted.begin(), sorted.end(), fails);

    const Facts inAll = common();
    std::string text = counted(m_ways.size(), "outcome") + ", " + counted(m_failing, "order") + " with a failure\n";
    text += inAll.empty() ? "" : '\n' + screen.painted("In every order", bold) + '\n';
    for (const auto& [name, value] : inAll) {
        text += row(name, value);
    }
    for (const auto& [outcome, ways] : sorted) {
        const auto& [failures, facts] = *outcome;
        text += '\n' + screen.painted(counted(ways->orders, "order"), bold) + ", --order " + ways->code + " (" +
                counted(ways->preemptions, "preemption") + ")\n";
        for (const std::string& failure : failures) {
            text += "    " + screen.painted("failure", red) + "  " + failure + '\n';
        }
        if (facts.count(FINDING) != 0) {
            continue;
        }
        const bool isUsual = facts == compared && failures.empty();
        Facts special = facts;
        for (const auto& fact : compared) {
            special.try_emplace(fact.first, "nothing");
        }
        for (const auto& [name, value] : special) {
            const auto other = compared.find(name);
            const std::string instead = other == compared.end() ? "nothing" : other->second;
            if (inAll.count(name) == 0 && (isUsual || compared.empty() || value != instead)) {
                text += row(name, value);
                text += isUsual || compared.empty() ? "" : "        instead of " + instead + '\n';
            }
        }
    }
    return text;
}

}  // namespace deskphone
