#include "framework/format_settings.h"

namespace vg {

namespace {
TFormatSettings& current_settings() {
  static TFormatSettings settings;
  return settings;
}
}  // namespace

TFormatSettings& FormatSettings() { return current_settings(); }

void SetFormatSettings(const TFormatSettings& settings) { current_settings() = settings; }

}  // namespace vg
