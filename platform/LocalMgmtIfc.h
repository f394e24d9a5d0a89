#pragma once

#include <list>
#include <string>

class ManageableData;
class MgmtAgentIfc;

/// The telephone's local management interface. May come back into the caller's service on the same thread.
class LocalMgmtIfc {
public:
    virtual ~LocalMgmtIfc() = default;

    /// Registers `agent` for change events of the listed tags.
    virtual int subscribeData(std::list<std::string>& tags, MgmtAgentIfc* agent) = 0;
    /// Hands changed values to the management system; nonzero when it accepted them.
    virtual int publishData(ManageableData& record) = 0;
};
