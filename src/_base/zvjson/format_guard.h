#pragma once

namespace zv {

/// Whether a pack or unpack format may go to jansson: not if one of its tokens, as separated by
/// brackets, commas, colons and white space, is exactly `o`, which hands over a reference that the
/// caller would go on using. Only whole tokens count: `oo` and `O` are fine, and so is null.
bool FormatAllowed(const char* format) noexcept;

}  // namespace zv
