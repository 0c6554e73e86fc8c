#include "support/RecordingLog.h"

#include <algorithm>
#include <sstream>

#include "support/loadable.h"

namespace support {
namespace {

bool is_exit_of(const LogLine& line, const std::wstring& function) {
  return line.depth == -1 && line.level == logging::trace && line.function == function &&
         line.text.starts_with(L"<- " + function + L"() [") && line.text.ends_with(L"]");
}

}  // namespace

RecordingLog::RecordingLog() : recorder_(loadable(L"log")) {
  if (handle_.binding()->module() == nullptr) {
    throw std::logic_error("logging was on before, without a library");
  }
  recorder_.clear();
}

std::vector<LogLine> RecordingLog::lines(std::uint32_t level) const {
  std::vector<LogLine> found = lines();
  std::erase_if(found, [level](const LogLine& line) { return line.level != level; });
  return found;
}

std::vector<std::wstring> RecordingLog::texts() const {
  std::vector<std::wstring> texts;
  for (const LogLine& line : lines()) {
    if (line.level != logging::trace) texts.push_back(line.text);
  }
  return texts;
}

std::size_t RecordingLog::count(std::uint32_t level, const std::wstring& function,
                                const std::wstring& text) const {
  const std::vector<LogLine> all = lines();
  return static_cast<std::size_t>(
      std::count(all.begin(), all.end(), LogLine{0, level, function, text}));
}

testing::AssertionResult RecordingLog::logged(std::uint32_t level, const std::wstring& function,
                                              const std::wstring& text) const {
  if (count(level, function, text) != 0) return testing::AssertionSuccess() << all_lines();
  return testing::AssertionFailure()
         << LogLine{0, level, function, text} << " is not among" << all_lines();
}

testing::AssertionResult RecordingLog::nothing_logged(std::uint32_t level) const {
  if (lines(level).empty()) return testing::AssertionSuccess();
  return testing::AssertionFailure() << "lines of level " << level << " among" << all_lines();
}

testing::AssertionResult RecordingLog::traced(const std::wstring& function) const {
  const std::vector<LogLine> all = lines();
  const auto entry = std::find(all.begin(), all.end(),
                               LogLine{1, logging::trace, function, L"-> " + function + L"()"});
  if (std::any_of(entry, all.end(),
                  [&](const LogLine& line) { return is_exit_of(line, function); })) {
    return testing::AssertionSuccess();
  }
  return testing::AssertionFailure() << "no entry and exit of such a scope among" << all_lines();
}

std::string RecordingLog::all_lines() const {
  std::ostringstream out;
  for (const LogLine& line : lines()) out << "\n  " << line;
  return out.str();
}

}  // namespace support
