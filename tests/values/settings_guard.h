// Keeps the process-wide settings a test changes: VGEnv's date picture and
// century window, the locale, and the clock.
#pragma once

#include <gtest/gtest.h>

#include "engine/Vgglobal.h"
#include "framework/date_time.h"
#include "framework/format_settings.h"

class SettingsGuard : public ::testing::Test {
 protected:
  void SetUp() override {
    date_format_ = vg::VGEnv->DateFormat();
    epoch_start_ = vg::VGEnv->EpochStart();
  }
  void TearDown() override {
    vg::VGEnv->SetDateFormat(date_format_);
    vg::VGEnv->SetEpochStart(epoch_start_);
    vg::SetNowFunction(nullptr);
  }
  static void SetToday(int year, int month, int day) {
    const vg::TDateTime today = vg::EncodeDate(year, month, day) + 0.5;
    vg::SetNowFunction([today] { return today; });
  }

 private:
  vg::TFormatSettingsScope locale_;
  std::string date_format_;
  vg::TEpochStart epoch_start_ = 1915;
};
