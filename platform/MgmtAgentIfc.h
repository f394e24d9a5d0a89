#pragma once

/// Receives change events of management data on behalf of a service; the plug-in only passes it on.
class MgmtAgentIfc {
public:
    virtual ~MgmtAgentIfc() = default;
};
