#include "host/object.hpp"

#include <algorithm>

#include "host/sysutils.hpp"

TObject::~TObject() = default;

TComponent::TComponent(TComponent* owner) : owner_(owner) {
  if (owner_ != nullptr) {
    owner_->Insert(this);
  }
}

TComponent::~TComponent() {
  // Owned components are freed with their owner, last created first.
  while (!components_.empty()) {
    TComponent* child = components_.back();
    components_.pop_back();
    child->owner_ = nullptr;
    delete child;
  }
  if (owner_ != nullptr) {
    owner_->Remove(this);
  }
}

TComponent* TComponent::FindComponent(const std::string& name) const {
  for (TComponent* child : components_) {
    if (SameText(child->Name(), name)) {
      return child;
    }
  }
  return nullptr;
}

void TComponent::Insert(TComponent* child) {
  components_.push_back(child);
}

void TComponent::Remove(TComponent* child) {
  components_.erase(std::remove(components_.begin(), components_.end(), child), components_.end());
}
