#pragma once

#include <cstddef>
#include <cstdint>

/// Writes the entry and the exit of a function, the latter with the milliseconds spent. The two
/// test for themselves whether logging is on: one can appear without the other. A name of over 258
/// characters is cut. Belongs to one thread's stack.
class trace_scope {
 public:
  explicit trace_scope(const wchar_t* function);
  trace_scope(const trace_scope&) = delete;
  trace_scope& operator=(const trace_scope&) = delete;
  ~trace_scope();

 private:
  void WriteExit() const;

  static constexpr std::size_t longest_name = 258;
  static constexpr std::size_t longest_function = 259;

  std::uint32_t start_;              ///< milliseconds; differences survive the clock's wrap
  wchar_t label_[longest_name + 3];  ///< the name, "()" and the terminator
  wchar_t function_[longest_function + 1];
};
