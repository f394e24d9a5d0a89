#pragma once

#include <map>
#include <string>
#include <vector>

class ManageableData {
public:
    ManageableData();
    virtual ~ManageableData();

    void getRootIds(std::vector<std::string>& ids);
    bool interogate(const std::string& id, const std::string& key, std::string& value);
    void populate(const std::string& id, const std::string& key, const std::string& value);

private:
    std::map<std::string, std::map<std::string, std::string>> m_values;
    std::vector<std::string> m_rootIds;
};
