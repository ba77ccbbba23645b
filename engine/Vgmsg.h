// The catalogue of confirmation and lock-failure texts shown to the user, each replaceable by
// the application through VGEnv's OnGetMessageText.
#pragma once

#include <string>

namespace vg {

// Catalogue numbers.
inline constexpr int kMsgAbandonChanges = 1;
inline constexpr int kMsgLockEditAborted = 2;
inline constexpr int kMsgLockNotSaved = 3;
inline constexpr int kMsgLockNotDeleted = 4;
inline constexpr int kMsgLockNotRecalled = 5;
inline constexpr int kMsgConfirmDelete = 6;
inline constexpr int kMsgFileActive = 7;
inline constexpr int kMsgLockSaveAborted = 8;

// The catalogue text of MsgID (empty for an unknown number; number 7 starts with OtherInfo),
// then whatever VGEnv's OnGetMessageText handler, when assigned, makes of it.
void GetMsgText(int MsgID, const std::string& OtherInfo, std::string& Text);

}  // namespace vg
