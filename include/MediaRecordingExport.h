#pragma once

/// Marks what the plug-in's shared object exports; everything else is hidden.
#define MRS_EXPORT __attribute__((visibility("default")))
