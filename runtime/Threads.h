#pragma once

class Threadable;

namespace runtime {

/// The body that the calling thread runs; null when it is no platform thread.
Threadable* currentThreadable();

}  // namespace runtime
