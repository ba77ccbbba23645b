// TObject, TPersistent and TComponent: the component model.
//
// A component may have an owner. The owner keeps a list of the components
// it owns and destroys them, last first, when it is destroyed itself; a
// component destroyed earlier leaves its owner's list. Components that must
// hear about another's destruction register with FreeNotification and get
// Notification(other, opRemove) before it goes.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "framework/exceptions.h"

namespace vg {

class TObject {
 public:
  TObject() = default;
  TObject(const TObject&) = delete;
  TObject& operator=(const TObject&) = delete;
  virtual ~TObject() = default;
};

// An event that only names its sender.
using TNotifyEvent = std::function<void(TObject* sender)>;

class TPersistent : public TObject {
 public:
  // Copies the published state of `source`; the base refuses every source.
  virtual void Assign(const TPersistent& source);
};

enum TOperation { opInsert, opRemove };

// Component state flags.
enum TComponentStateFlag : uint32_t {
  csLoading = 1u << 0,
  csDesigning = 1u << 1,
  csDestroying = 1u << 2,
  csReading = 1u << 3,
  csWriting = 1u << 4,
};

class TComponentState {
 public:
  bool Contains(TComponentStateFlag f) const { return (bits_ & f) != 0; }
  void Include(TComponentStateFlag f) { bits_ |= f; }
  void Exclude(TComponentStateFlag f) { bits_ &= ~static_cast<uint32_t>(f); }
  bool Empty() const { return bits_ == 0; }

 private:
  uint32_t bits_ = 0;
};

class TComponent : public TPersistent {
 public:
  explicit TComponent(TComponent* owner);
  ~TComponent() override;

  TComponent* Owner() const { return owner_; }
  const std::string& Name() const { return name_; }
  // Names are empty or identifiers (letters, digits, underscores, not
  // starting with a digit), unique among the owner's components ignoring
  // case; anything else raises EComponentError.
  virtual void SetName(const std::string& name);
  const TComponentState& ComponentState() const { return state_; }

  int ComponentCount() const { return static_cast<int>(components_.size()); }
  TComponent* Components(int index) const;
  TComponent* FindComponent(const std::string& name) const;

  // Design and load phases, as a form designer or a form reader sets them.
  void SetDesigning(bool designing);
  // Marks this component (and its owned ones) as being loaded; Loaded ends it.
  void BeginLoading();
  virtual void Loaded();

  // Asks to hear about the destruction of `component` (both ways).
  void FreeNotification(TComponent* component);
  void RemoveFreeNotification(TComponent* component);

  // Takes `component` into this component's list (it must have no owner)
  // or lets it go again (it then has no owner and is not destroyed here).
  void InsertComponent(TComponent* component);
  void RemoveComponent(TComponent* component);

 protected:
  virtual void Notification(TComponent* component, TOperation operation);

 private:
  void Insert(TComponent* component);
  void Remove(TComponent* component);

  TComponent* owner_ = nullptr;
  std::string name_;
  TComponentState state_;
  std::vector<TComponent*> components_;     // owned
  std::vector<TComponent*> free_notifies_;  // to be told when either goes
};

class EComponentError : public Exception {
 public:
  using Exception::Exception;
};

}  // namespace vg
