#pragma once

#include "frame/IECEventsClient.h"
#include "frame/IServPlugin.h"

namespace devkit {

/// The plug-in "eceventsclient": each event becomes one line of JSON at the end of a file, that of
/// the environment's SPLICE_EVENTS or ecevents.jsonl where this library lies. Threads and processes
/// may post to one file, however many.
///
/// SPLICE_EVENTS_FAIL lets it fail: a number is what `post` answers from then on, without writing;
/// "ZvCreateObject:number", "Init:number" and "Start:number" mean those operations, and
/// "QueryInterface:number", with any number but 0, has the plug-in lack the client's interface.
class EventsClient final : public IServPlugin, public IECEventsClient {
 public:
  /// What ZvCreateObject is to answer in place of this object.
  std::uint32_t creation_failure() const;

  void* QueryInterface(const IID& id) override;
  std::uint32_t Init(IServMain* host) override;
  std::uint32_t UnInit() override;
  std::uint32_t Start() override;
  void Stop() override;
  void* scalar_deleting_destructor(std::uint32_t flags) override;

  void not_called_0() override {}
  void not_called_1() override {}
  void not_called_2() override {}
  void not_called_3() override {}
  void not_called_4() override {}
  void not_called_5() override {}
  void not_called_6() override {}
  /// 0; 87 without an event; 29 if the line can't be written, the reason being told on standard
  /// error.
  std::uint32_t post(ECEvent* event, bool flag, std::uint64_t zero) override;
};

}  // namespace devkit
