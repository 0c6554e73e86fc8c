#pragma once

#include <string>
#include <system_error>

/// Why something couldn't be had: the system's code in the category "win_error", and the step.
struct error_record {
  std::error_code code;
  std::wstring message;
};
