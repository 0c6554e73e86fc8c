#pragma once

#include <cstdint>

#include "_base/events/ECEventBase.h"

/// What the events client posts. Belongs to one thread for all its short life.
class ECEvent final : public ECEventBase {
 public:
  static constexpr std::uint32_t default_type = 19;

  void* scalar_deleting_destructor(std::uint32_t flags) override;

  virtual void SetName(const wchar_t* name);
  virtual const wchar_t* GetName() const;  ///< never null; valid until the name changes
  virtual void SetVersion(const wchar_t* version);
  virtual const wchar_t* GetVersion() const;  ///< likewise
  virtual void SetType(std::uint32_t type);
  virtual std::uint32_t GetType() const;

 private:
  Text name;
  Text version;
  std::uint32_t type = default_type;
};
