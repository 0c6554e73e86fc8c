// Events of the module, filled, read and ended through this compiler's tables.

#include "events/records.h"
#include "host/check.h"
#include "host/library.h"
#include "host/probe.h"
#include "product/events.h"

namespace {

using wide = zv::StringT<wchar_t>;

// A list of this host's own, which the module reads. What a reader has no use for isn't there.
class own_list final : public zv::IList<wide> {
 public:
  own_list(const wchar_t* first, const wchar_t* second) : values_{first, second} {}

  uint32_t PushBack(const wide&) override { return missing(); }
  uint32_t PushFront(const wide&) override { return missing(); }
  const wide* Back() const override { return &values_[1]; }
  wide* Back() override { return &values_[1]; }
  uint32_t GetBack(wide&) const override { return missing(); }
  const wide* Front() const override { return &values_[0]; }
  wide* Front() override { return &values_[0]; }
  uint32_t GetFront(wide&) const override { return missing(); }
  void Erase(zv::IListEnum<wide>*) override {}
  zv::IConstListEnum<wide>* GetConstEnum() const override { return new reader(*this); }
  zv::IListEnum<wide>* GetEnum() override { return nullptr; }
  void Clear() override {}
  uint64_t Count() const override { return 2; }

  mutable uint32_t readers = 0;

 private:
  class reader final : public zv::IConstListEnum<wide> {
   public:
    explicit reader(const own_list& list) : list_(list) { ++list.readers; }
    ~reader() override { --list_.readers; }
    bool HasNext() const override { return at_ < 2; }
    const wide* Next() override { return &list_.values_[at_++]; }
    const wide* Value() override { return &list_.values_[at_]; }
    void Release() override { delete this; }
    void Reset() override { at_ = 0; }

   private:
    const own_list& list_;
    uint32_t at_ = 0;
  };

  static uint32_t missing() { return 50; }

  wide values_[2];
};

ECChildEvent* make_child(const library& probe, const wchar_t* method) {
  ECChildEvent* child = probe.function<ECChildEvent*()>("probe_make_child")();
  child->SetString(L"method", method);
  return child;
}

void fill(const library& probe, ECEvent& event) {
  event.SetName(L"name \x20ac");
  event.SetVersion(L"2.5");
  event.SetString(L"a", L"first");
  event.SetString(L"a", L"second");
  event.SetString(L"b", nullptr);
  event.SetInteger(L"n", -5'000'000'000);
  {
    const own_list list(L"one", L"two");
    event.SetStringList(L"words", &list);
    check_same(list.readers, 0, "a list of this host is read, and its enumerator released");
  }
  ECChildEvent* child = make_child(probe, L"list");
  event.SetChild(L"part", child);
  event.AddChild(L"errors", child);
  child->SetInteger(L"more", 7);
  event.AddChild(L"errors", child);
  delete child;
}

}  // namespace

void event_tables(const library& probe) {
  about("An event of the module is filled and read by this host:");
  ECEvent* event = probe.function<ECEvent*()>("probe_make_event")();
  check_same(event->GetType(), 19, "a new event has its type");
  check_text(event->GetName(), L"", "and an empty name");
  fill(probe, *event);
  event->SetType(0x80000001);
  host_manager = {};
  static events::record seen;
  events::read(*event, seen);
  delete event;

  check_text<wchar_t>(seen.name, L"name \x20ac", "its name comes back");
  check_text<wchar_t>(seen.version, L"2.5", "its version");
  check_same(seen.type, 0x80000001, "and its type, all 32 bits of it");
  check_text(seen.value(L"strings"), L"2", "it counts its texts");
  check_text(seen.value(L"strings/a"), L"first", "a text set twice keeps its first value");
  check_text(seen.value(L"strings/b"), L"", "a null text is an empty one");
  check_text(seen.value(L"integers"), L"1", "it counts its integers");
  check_text(seen.value(L"integers/n"), L"-5000000000", "which have 64 bits");
  check_text(seen.value(L"lists"), L"1", "it counts its lists");
  check_text(seen.value(L"lists/words[0]"), L"one", "whose elements were copied");
  check_text(seen.value(L"lists/words[1]"), L"two", "in their order");
  check_text(seen.value(L"children/part/strings/method"), L"list", "a single child is found");
  check_text(seen.value(L"children/part/integers"), L"0", "as it was when it was set");
  check_text(seen.value(L"child_lists/errors[0]/integers"), L"0", "so is the first of several");
  check_text(seen.value(L"child_lists/errors[1]/strings/method"), L"list", "the second");
  check_text(seen.value(L"child_lists/errors[1]/integers/more"), L"7", "with what it had by then");
  check_same(seen.used, 21, "and nothing else");
  check_same(host_manager.allocate + host_manager.free, 0,
             "no text of this host's memory was kept by the event");
}
