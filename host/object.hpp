// Root classes of the host framework: TObject (every host object, with a virtual destructor so
// that checked casts work across the module/host boundary) and TComponent (an owned, named
// object that its owner frees and finds by name).
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "host/exception.hpp"
#include "host/export.hpp"

class NRW_API TObject {
 public:
  TObject() = default;
  TObject(const TObject&) = delete;
  TObject& operator=(const TObject&) = delete;
  virtual ~TObject();
};

class NRW_API TComponent : public TObject {
 public:
  explicit TComponent(TComponent* owner = nullptr);
  ~TComponent() override;

  const std::string& Name() const { return name_; }
  void SetName(std::string name) { name_ = std::move(name); }
  TComponent* Owner() const { return owner_; }

  // The owned component of that name (case-insensitive), or null.
  TComponent* FindComponent(const std::string& name) const;
  int ComponentCount() const { return static_cast<int>(components_.size()); }

 private:
  void Insert(TComponent* child);
  void Remove(TComponent* child);

  TComponent* owner_ = nullptr;
  std::string name_;
  std::vector<TComponent*> components_;
};

// Checked conversion: raises EInvalidCast when `object` is not a T (null passes as null).
template <class T>
T* CheckedCast(TObject* object) {
  if (object == nullptr) {
    return nullptr;
  }
  if (auto* result = dynamic_cast<T*>(object)) {
    return result;
  }
  throw EInvalidCast("Invalid class typecast");
}
