#pragma once

#include <string>
#include <vector>

#include "devkit/common/os.h"
#include "devkit/common/text.h"
#include "system/OwnKit.h"

namespace kit_test {

inline std::filesystem::path splicectl() {
  const std::filesystem::path plain = std::filesystem::path(KIT_FOLDER) / "splicectl";
  return std::filesystem::exists(plain) ? plain : std::filesystem::path(plain.string() + ".exe");
}

struct Ended {
  int code;
  std::string output;
};

/// The command line as a process of its own, from its start to its end.
inline Ended run(const std::vector<std::string>& arguments) {
  devkit::os::Process process(splicectl(), arguments);
  const std::string output = process.read_all();
  return {process.wait(), output};
}

inline std::string module_text(const OwnKit& kit) {
  return devkit::path_text(kit.module());
}

}  // namespace kit_test
