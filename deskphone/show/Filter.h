#pragma once

#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "show/Selection.h"
#include "show/Show.h"

namespace deskphone {

/// Stands in front of shows and passes the selected steps of one telephone on to them.
class Filter : public Show {
public:
    Filter(Selection selection, std::vector<std::unique_ptr<Show>> shows);

    void add(const Step& step) override;
    void passOver(const Step& step) override;
    void finish() override;
    void breakOff() override;
    bool showsMachines() const override;

private:
    bool selects(const Step& step);
    bool touches(const Step& step) const;
    bool touches(const Call& call) const;
    bool isTold(const std::string& value) const;
    void noteSession(const Step& step);
    bool changes(const Step& step);
    bool tellsNews(const Call& call);

    const Selection m_selection;
    const std::vector<std::unique_ptr<Show>> m_shows;
    const std::set<std::string> m_lines;
    std::set<int> m_handles;                    // of the sessions of these lines, ended ones included
    std::map<std::string, std::string> m_told;  // the values last told, by id, those of a line by id and line
};

}  // namespace deskphone
