// The enumerations and event types shared by every component of the library.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "framework/component.h"

namespace vg {

// Per-component choices whose first value takes the process-wide default of VGEnv.
enum TAutoFormatFields { affDefault, affTrue, affFalse };
enum TProvideDefaults { pdDefault, pdTrue, pdFalse };

// The engine version the components assume.
enum TVGVersion { v62, v63, v64, v65 };

// A year, 1900 to 1999: the first of the hundred-year window for two-digit years.
using TEpochStart = uint16_t;

enum TDefaultOpenMode { domReadWrite, domReadOnly };
enum TDefaultUniqueTagHandling { duthContinue, duthException };
enum TDataBaseModel { dmDeskTop, dmClientServer };
enum TDLLFormat { DLLUnknown, DLLFox, DLLClipper, DLLDBase, DLLClient };
enum TPreConnectionFormat { pcfFox, pcfClipper, pcfDBase };
// Production indexes exist only for ifdBASE and ifFox.
enum TIndexFormat { ifClipper, ifdBASE, ifFox, ifUnknown };

// Lets an application replace a catalogue text: whatever it leaves in `Text` is shown.
using TGetTextEvent = std::function<void(int MsgID, const std::string& OtherInfo,
                                         std::string& Text)>;
// Called per step of a long batch run; setting `Cancel` stops the run.
using TBatchHookEvent = std::function<void(TObject* Sender, bool& Cancel)>;

}  // namespace vg
