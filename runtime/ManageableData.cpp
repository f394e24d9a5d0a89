#include "ManageableData.h"

#include <algorithm>

#include "ManagementRecord.h"

ManageableData::ManageableData() = default;
ManageableData::~ManageableData() = default;

void ManageableData::getRootIds(std::vector<std::string>& ids)
{
    ids = m_rootIds;
}

bool ManageableData::interogate(const std::string& id, const std::string& key, std::string& value)
{
    const auto found = std::find_if(m_entries.begin(), m_entries.end(),
                                    [&](const Entry& entry) { return entry.id == id && entry.key == key; });
    if (found == m_entries.end()) {
        return false;
    }
    value = found->value;
    return true;
}

void ManageableData::populate(const std::string& id, const std::string& key, const std::string& value)
{
    if (std::find(m_rootIds.begin(), m_rootIds.end(), id) == m_rootIds.end()) {
        m_rootIds.push_back(id);
    }
    m_entries.push_back({id, key, value});
}

namespace runtime {

void ManagementRecord::name(const std::string& id)
{
    m_rootIds.push_back(id);
}

void ManagementRecord::give(const std::string& id, const std::string& value)
{
    name(id);
    populate(id, id, value);
}

const std::vector<ManagementRecord::Entry>& ManagementRecord::entries(const ManageableData& record)
{
    return record.*&ManagementRecord::m_entries;
}

}  // namespace runtime
