// The states of a dataset, in the framework's order.
#pragma once

namespace vg {

enum TDataSetState {
  dsInactive,
  dsBrowse,
  dsEdit,
  dsInsert,
  dsSetKey,
  dsCalcFields,
  dsFilter,
  dsNewValue,
  dsOldValue,
  dsCurValue,
  dsBlockRead,
  dsInternalCalc,
  dsOpening,
};

}  // namespace vg
