#pragma once

/// Marks what the plug-in's shared object exports: of a class its public operations, which src/exports.txt names one by
/// one. Everything else is hidden.
#define MRS_EXPORT __attribute__((visibility("default")))
