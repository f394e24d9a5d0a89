#pragma once

#include <string>
#include <vector>

/// A record of tagged values, exchanged with the management system. Used by one thread at a time.
class ManageableData {
public:
    ManageableData();
    virtual ~ManageableData();

    /// Fills `ids` with the root ids that the record names, in order; an id named twice is listed twice.
    void getRootIds(std::vector<std::string>& ids);
    /// Reads the first value given for `id` and `key`. False, with `value` left as it is, when there is none.
    bool interogate(const std::string& id, const std::string& key, std::string& value);
    /// Puts a value into the record, which from then on names `id`.
    void populate(const std::string& id, const std::string& key, const std::string& value);

protected:
    struct Entry {
        std::string id;
        std::string key;
        std::string value;
    };

    std::vector<std::string> m_rootIds;
    std::vector<Entry> m_entries;
};
