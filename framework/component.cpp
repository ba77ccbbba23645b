#include "framework/component.h"

#include <algorithm>
#include <cctype>
#include <strings.h>

namespace vg {

void TPersistent::Assign(const TPersistent&) {
  throw EConvertError("Cannot assign a value of this class");
}

TComponent::TComponent(TComponent* owner) {
  if (owner != nullptr) owner->Insert(this);
}

TComponent::~TComponent() {
  state_.Include(csDestroying);
  // Tell everyone who asked, then forget them both ways.
  while (!free_notifies_.empty()) {
    TComponent* other = free_notifies_.back();
    free_notifies_.pop_back();
    auto& theirs = other->free_notifies_;
    theirs.erase(std::remove(theirs.begin(), theirs.end(), this), theirs.end());
    other->Notification(this, opRemove);
  }
  // Owned components go last first; each leaves the list as it dies.
  while (!components_.empty()) {
    TComponent* child = components_.back();
    child->state_.Include(csDestroying);
    delete child;  // the one place ownership ends: the child unlinks itself
  }
  if (owner_ != nullptr) owner_->Remove(this);
}

TComponent* TComponent::Components(int index) const {
  if (index < 0 || index >= ComponentCount()) throw EComponentError("List index out of bounds (" + std::to_string(index) + ")");
  return components_[static_cast<size_t>(index)];
}

TComponent* TComponent::FindComponent(const std::string& name) const {
  if (name.empty()) return nullptr;
  for (TComponent* c : components_)
    if (strcasecmp(c->name_.c_str(), name.c_str()) == 0) return c;
  return nullptr;
}

void TComponent::SetName(const std::string& name) {
  if (name == name_) return;
  if (!name.empty()) {
    bool ok = std::isalpha(static_cast<unsigned char>(name[0])) || name[0] == '_';
    for (char c : name) ok = ok && (std::isalnum(static_cast<unsigned char>(c)) || c == '_');
    if (!ok) throw EComponentError("Component name \"" + name + "\" is not a valid identifier");
    if (owner_ != nullptr) {
      TComponent* other = owner_->FindComponent(name);
      if (other != nullptr && other != this)
        throw EComponentError("A component named " + name + " already exists");
    }
  }
  name_ = name;
}

void TComponent::SetDesigning(bool designing) {
  if (designing) state_.Include(csDesigning);
  else state_.Exclude(csDesigning);
  for (TComponent* c : components_) c->SetDesigning(designing);
}

void TComponent::BeginLoading() {
  state_.Include(csLoading);
  for (TComponent* c : components_) c->BeginLoading();
}

void TComponent::Loaded() { state_.Exclude(csLoading); }

void TComponent::FreeNotification(TComponent* component) {
  if (component == nullptr || component == this) return;
  if (std::find(free_notifies_.begin(), free_notifies_.end(), component) == free_notifies_.end())
    free_notifies_.push_back(component);
  auto& theirs = component->free_notifies_;
  if (std::find(theirs.begin(), theirs.end(), this) == theirs.end()) theirs.push_back(this);
}

void TComponent::RemoveFreeNotification(TComponent* component) {
  if (component == nullptr) return;
  free_notifies_.erase(std::remove(free_notifies_.begin(), free_notifies_.end(), component), free_notifies_.end());
  auto& theirs = component->free_notifies_;
  theirs.erase(std::remove(theirs.begin(), theirs.end(), this), theirs.end());
}

void TComponent::InsertComponent(TComponent* component) {
  if (component == nullptr) return;
  if (component->owner_ != nullptr) component->owner_->RemoveComponent(component);
  Insert(component);
}

void TComponent::RemoveComponent(TComponent* component) {
  if (component == nullptr || component->owner_ != this) return;
  Remove(component);
}

void TComponent::Notification(TComponent* component, TOperation operation) {
  // Owned components hear about their siblings' removal too.
  if (operation == opRemove && component != nullptr)
    for (TComponent* c : components_)
      if (c != component) c->Notification(component, operation);
}

void TComponent::Insert(TComponent* component) {
  components_.push_back(component);
  component->owner_ = this;
  Notification(component, opInsert);
}

void TComponent::Remove(TComponent* component) {
  Notification(component, opRemove);
  components_.erase(std::remove(components_.begin(), components_.end(), component), components_.end());
  component->owner_ = nullptr;
}

}  // namespace vg
