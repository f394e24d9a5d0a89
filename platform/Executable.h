#pragma once

/// Anything the service framework runs and finds by name. Interfaces beyond it are reached with a run-time cross-cast.
class Executable {
public:
    virtual ~Executable() = default;
};
