#pragma once

#include <string>

#include "fieldlog/FieldRecords.h"
#include "telephone/Step.h"

namespace deskphone {

/// A command that records tell of. What they leave open is assumed.
struct Told {
    Words command = {};             // none when they tell of no command
    const char* assumed = nullptr;  // null: nothing
};

/// The command that the first of the records, which go up to this level, begins. Called when no earlier command goes on
/// with it: what it traces is then nothing that another operation does.
Told commandAt(const NextRecords& records, int level);

/// Whether an operation began here that nothing but the telephone can have called.
bool beginsFromOutside(const FieldRecord& record);

/// Whether the record tells of a command wherever it stands: no other operation traces it, or none whose beginning the
/// log has, and then the command alone has the same effect.
bool beginsForSure(const FieldRecord& record);

}  // namespace deskphone
