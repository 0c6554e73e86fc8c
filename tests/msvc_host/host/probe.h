#pragma once

#include "host/library.h"
#include "host/strings.h"

// The groups of checks on objects of probe.dll that have a file of their own.
void event_tables(const library& probe);
