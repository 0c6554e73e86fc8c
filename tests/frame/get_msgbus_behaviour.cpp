#include <gtest/gtest.h>

#include <filesystem>
#include <stdexcept>
#include <string>

#include "frame/get_msgbus.h"
#include "platform/library.h"
#include "support/RecordingLog.h"
#include "support/TemporaryFolder.h"
#include "support/TestSeam.h"
#include "support/msgbus_probe.h"

namespace {

bool is_loaded(const std::filesystem::path& path) {
  return platform::find_loaded(path.wstring().c_str()) != nullptr;
}

/// A library in this process for as long as the object lives.
class LoadedLibrary {
 public:
  explicit LoadedLibrary(const std::filesystem::path& path) {
    std::uint32_t error = 0;
    module = platform::load_library(path.wstring().c_str(), error);
    if (module == nullptr) throw std::runtime_error("can't load " + path.string());
  }
  LoadedLibrary(const LoadedLibrary&) = delete;
  LoadedLibrary& operator=(const LoadedLibrary&) = delete;
  ~LoadedLibrary() { platform::unload_library(module); }

  support::msgbus_probe_record& record() const {
    std::uint32_t error = 0;
    void* const found = platform::find_symbol(module, "MsgbusProbeRecord", error);
    return *reinterpret_cast<support::msgbus_probe_record* (*)()>(found)();
  }

 private:
  platform::module_handle module;
};

class GetMsgbus : public testing::Test {
 protected:
  GetMsgbus() { seam.set_own_module_name(folder.module_name(L"cloudsplicer").wstring()); }

  const support::TemporaryFolder folder;
  support::TestSeam seam;
  support::RecordingLog log;
};

TEST_F(GetMsgbus, GivesNullAndLoadsNothingIfTheLibraryIsNotInTheProcess) {
  const std::filesystem::path library = folder.put_library(L"msgbus_probe", L"msgbus");
  EXPECT_EQ(get_msgbus(), nullptr);
  EXPECT_FALSE(is_loaded(library));
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(GetMsgbus, GoesThroughTheDoorOfTheLibraryInTheProcess) {
  const LoadedLibrary bus(folder.put_library(L"msgbus_probe", L"msgbus"));
  EXPECT_EQ(static_cast<void*>(get_msgbus()), &bus.record().the_bus);

  const IID host_id = {
      0xb06721f0, 0x7355, 0xaa61, {0xdf, 0x48, 0x22, 0xba, 0x12, 0xbd, 0x27, 0xfe}};
  const IID bus_id = {0xa4e72244, 0x5151, 0x8154, {0x21, 0x43, 0x52, 0x16, 0x4f, 0xef, 0x7f, 0xd1}};
  EXPECT_EQ(bus.record().door_calls, 1u);
  EXPECT_EQ(bus.record().door_id, host_id);
  EXPECT_EQ(bus.record().host_calls, 1u);
  EXPECT_EQ(bus.record().host_argument, 0u);
  EXPECT_EQ(bus.record().queries, 1u);
  EXPECT_EQ(bus.record().bus_id, bus_id);
  EXPECT_EQ(bus.record().wrong_calls, 0u);
}

TEST_F(GetMsgbus, KeepsNoHoldOnTheLibrary) {
  const std::filesystem::path library = folder.put_library(L"msgbus_probe", L"msgbus");
  {
    const LoadedLibrary bus(library);
    EXPECT_NE(get_msgbus(), nullptr);
  }
  EXPECT_FALSE(is_loaded(library));
}

TEST_F(GetMsgbus, IgnoresALibraryOfThatNameFromAnotherFolder) {
  const support::TemporaryFolder elsewhere;
  const LoadedLibrary bus(elsewhere.put_library(L"msgbus_probe", L"msgbus"));
  EXPECT_EQ(get_msgbus(), nullptr);
  EXPECT_EQ(bus.record().door_calls, 0u);
}

TEST_F(GetMsgbus, GivesNullWithoutTheDoor) {
  const LoadedLibrary bus(folder.put_library(L"log_write_only", L"msgbus"));
  EXPECT_EQ(get_msgbus(), nullptr);
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(GetMsgbus, GivesNullIfTheDoorIsShut) {
  const LoadedLibrary bus(folder.put_library(L"msgbus_probe", L"msgbus"));
  bus.record().refuses_door = true;
  EXPECT_EQ(get_msgbus(), nullptr);
  EXPECT_EQ(bus.record().host_calls, 0u);
}

TEST_F(GetMsgbus, GivesNullIfTheHostOfTheBusHasNone) {
  const LoadedLibrary bus(folder.put_library(L"msgbus_probe", L"msgbus"));
  bus.record().refuses_host_call = true;
  EXPECT_EQ(get_msgbus(), nullptr);
  EXPECT_EQ(bus.record().queries, 0u);
}

TEST_F(GetMsgbus, GivesWhatTheQueryGivesEvenNull) {
  const LoadedLibrary bus(folder.put_library(L"msgbus_probe", L"msgbus"));
  bus.record().refuses_query = true;
  EXPECT_EQ(get_msgbus(), nullptr);
  EXPECT_EQ(bus.record().queries, 1u);
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(GetMsgbus, GivesNullWithoutAModuleFolder) {
  const LoadedLibrary bus(folder.put_library(L"msgbus_probe", L"msgbus"));
  seam.set_own_module_name(L"", 5);
  EXPECT_EQ(get_msgbus(), nullptr);
  EXPECT_EQ(bus.record().door_calls, 0u);
  EXPECT_TRUE(log.lines().empty());
}

}  // namespace
