#pragma once

#include <stddef.h>
#include <stdint.h>

// Files and folders below the program's own folder, by their names relative to it.

using file_path = wchar_t[512];

void beside_program(file_path& path, const wchar_t* relative);

// A failure ends the program with a message: nothing could be checked without the file.
void write_file(const wchar_t* relative, const char* text);
void make_folder(const wchar_t* relative);  // does nothing if it is there

// Does nothing if it is absent.
void remove_file(const wchar_t* relative);

// The content of a file; empty for an absent one.
struct file_text {
  explicit file_text(const wchar_t* relative);
  char text[2048];
};
