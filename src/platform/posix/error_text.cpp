#include "platform/error_text.h"

#include <cstring>
#include <system_error>

#include "platform/errno_table.h"
#include "platform/os.h"

namespace platform::os {
namespace {

struct NumberText {
  std::uint32_t number;
  const char* text;
};

/// Numbers in use here that no errno stands for.
constexpr NumberText texts_without_errno[] = {
    {1, "Incorrect function"},
    {13, "Invalid data"},
    {31, "General failure"},
    {126, "Module not found"},
    {127, "Procedure not found"},
    {158, "Segment already unlocked"},
    {232, "No data"},
    {298, "Too many posts to a semaphore"},
    {1006, "Bad volume or database"},
    {1011, "Cannot open"},
    {1022, "Change notification buffer overflowed"},
    {1168, "Element not found"},
    {1359, "Internal error"},
    {1627, "Function failed"},
    {2250, "Not connected"},
};

}  // namespace

std::string error_text(std::uint32_t number) {
  for (const NumberText& known : texts_without_errno) {
    if (known.number == number) return known.text;
  }
  for (const ErrnoPair& pair : errno_table) {
    // The standard category's message is strerror made safe for threads.
    if (pair.number == number) return std::generic_category().message(pair.errno_value);
  }
  return {};
}

}  // namespace platform::os
