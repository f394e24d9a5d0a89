#pragma once

#include <string>
#include <vector>

#include "ManageableData.h"

namespace runtime {

/// A record as the management system sees it: names ids, and reads what was populated.
class ManagementRecord : public ManageableData {
public:
    using Entry = ManageableData::Entry;

    /// Names an id, also one that is named already.
    void name(const std::string& id);
    /// Names an id and gives its value. An id named twice is listed twice, and reading it gives its first value.
    void give(const std::string& id, const std::string& value);

    /// What was populated in any record, in order.
    static const std::vector<Entry>& entries(const ManageableData& record);
};

}  // namespace runtime
