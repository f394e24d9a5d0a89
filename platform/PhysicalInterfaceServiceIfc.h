#pragma once

#include "PhysDefs.h"

/// Keys and lamps of the telephone.
class PhysicalInterfaceServiceIfc {
public:
    virtual ~PhysicalInterfaceServiceIfc() = default;

    /// Sets the lamp of every key with this function.
    virtual void setFPKLamp(PhysDefs::keyFunctionType function, PhysDefs::lampStateType state, int, int) = 0;
};
