#pragma once

#include <jansson.h>

#include <string>

namespace zv {

/// The text of an object or array that came out of a parse, letter for letter what jansson's dump
/// without flags gives; empty for any other value. A dump spends half its time on making sure that
/// no container holds itself, which what was parsed can't. Throws std::bad_alloc.
std::string ParsedText(const json_t* value);

}  // namespace zv
