#pragma once

namespace runtime {

/// Counts the platform threads that have something to do: one is busy from the moment a give() is going to wake it
/// until it waits in take() with nothing to take. No time passes and nothing is polled.
namespace activity {

/// The calling thread is a platform thread, counted busy since spawned(), until ended().
void spawned();
void started();
void ended();

/// The calling thread is about to wait, goes on by itself (its time ran out), or was granted a permit. granting() is
/// called by the thread that grants it, before the waiting one can see it.
void waits();
void goesOn();
void granting();
void granted();

}  // namespace activity

/// Returns once no platform thread is busy. Not for platform threads.
void waitUntilIdle();

}  // namespace runtime
