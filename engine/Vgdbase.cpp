#include "engine/Vgdbase.h"

#include <algorithm>

#include "engine/Vgeng.h"
#include "framework/sys_utils.h"

namespace vg {

namespace {

template <typename T>
void remove_item(std::vector<T*>& list, T* item) {
  list.erase(std::remove(list.begin(), list.end(), item), list.end());
}

}  // namespace

TVGDataBase::TVGDataBase(TComponent* Owner) : TComponent(Owner) {
  VGEnv->DatabaseList().push_back(this);
}

TVGDataBase::~TVGDataBase() {
  CloseFiles();
  if (vg_engine_ != nullptr) remove_item(vg_engine_->Databases(), this);
  remove_item(VGEnv->DatabaseList(), this);
}

void TVGDataBase::CloseFiles() {
  // A source's Close detaches it, which is what ends the loop.
  while (!open_sources_.empty()) open_sources_.back()->Close();
}

void TVGDataBase::SetPath(std::string& path, const std::string& Value) {
  if (Value == path) return;
  CloseFiles();
  path = Value;
  if (!path.empty() && path.back() != kPathDelim) path += kPathDelim;
}

void TVGDataBase::SetDataPath(const std::string& Value) { SetPath(data_path_, Value); }
void TVGDataBase::SetIndexPath(const std::string& Value) { SetPath(index_path_, Value); }
void TVGDataBase::SetDesignPath(const std::string& Value) { SetPath(design_path_, Value); }

void TVGDataBase::SetVGEngine(TVGEngine* Value) {
  if (Value == vg_engine_) return;
  CloseFiles();
  if (vg_engine_ != nullptr) remove_item(vg_engine_->Databases(), this);
  vg_engine_ = Value;
  if (vg_engine_ != nullptr) vg_engine_->Databases().push_back(this);
}

void TVGDataBase::SetName(const std::string& Value) {
  if (Value == Name()) return;
  CloseFiles();
  TComponent::SetName(Value);
}

std::string TVGDataBase::GetFullStruFile() {
  if (stru_file_.empty()) return {};
  const std::string file_name = ExtractFileName(stru_file_);
  std::string result;
  if (!ComponentState().Contains(csDesigning)) {
    result = ExecutableFolder() + file_name;
  } else {
    result = design_path_.empty() ? file_name : design_path_ + file_name;
  }
  const std::string folder = ExtractFilePath(stru_file_);
  if (!folder.empty() && DirectoryExists(folder)) result = stru_file_;
  if (!FileExists(result)) return {};
  return result;
}

}  // namespace vg
