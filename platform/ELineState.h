#pragma once

/// The state of a phone line. Its enumerators are the telephone's; the recording service acts on four numbers.
enum ELineState : int {};
