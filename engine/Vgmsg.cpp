#include "engine/Vgmsg.h"

#include "engine/Vgglobal.h"

namespace vg {

void GetMsgText(int MsgID, const std::string& OtherInfo, std::string& Text) {
  // The two blanks after full stops belong to the texts.
  switch (MsgID) {
    case kMsgAbandonChanges: Text = "Are you sure you wish to abandon these changes?"; break;
    case kMsgLockEditAborted: Text = "Record lock was unsuccessful, edit aborted."; break;
    case kMsgLockNotSaved:
      Text = "Record lock was unsuccessful.  This record has not been saved.";
      break;
    case kMsgLockNotDeleted:
      Text = "Record lock was unsuccessful.  This record has not been deleted.";
      break;
    case kMsgLockNotRecalled:
      Text = "Record lock was unsuccessful.  This record has not been recalled.";
      break;
    case kMsgConfirmDelete: Text = "Are you sure you wish to delete this record?"; break;
    case kMsgFileActive:
      Text = OtherInfo + " is active from within this program.  This file will be skipped.";
      break;
    case kMsgLockSaveAborted: Text = "Record lock was unsuccessful, save aborted."; break;
    default: Text.clear(); break;
  }
  if (VGEnv->OnGetMessageText) VGEnv->OnGetMessageText(MsgID, OtherInfo, Text);
}

}  // namespace vg
