#pragma once

#include "runtime/kernel32.h"

// A library of this program's own folder, loaded for as long as the object lives. A missing one, or
// a missing export, ends the program with a message.
class library {
 public:
  explicit library(const wchar_t* name);
  library(const library&) = delete;
  library& operator=(const library&) = delete;
  ~library() { FreeLibrary(module_); }

  template <class Function>
  Function* function(const char* name) const {
    return reinterpret_cast<Function*>(address_of(name));
  }

  void* module() const { return module_; }

 private:
  void* address_of(const char* name) const;

  void* module_;
};
