// Drives the objects of probe.dll, which GCC built on the module's own headers, through this
// compiler's tables.

#include "host/check.h"
#include "host/library.h"
#include "host/probe.h"
#include "host/services.h"
#include "host/strings.h"
#include "product/containers.h"

namespace {

using wide = zv::StringT<wchar_t>;
using text_map = zv::IMap<wide, wide>;
using number_map = zv::IMap<wide, int64_t>;
using text_list = zv::IList<wide>;

const library* probe;
const char* (*last_call)();

void check_reached(const char* operation) {
  check_text(last_call(), operation, operation);
}

void told_map() {
  about("Each slot of a map leads to its operation:");
  text_map& map = *probe->function<text_map*()>("probe_told_map")();
  const text_map& read_only = map;
  const wide key(L"k");
  wide value;
  check_same(map.Insert(key, value), 101, "Insert brings its number back");
  check_reached("Insert");
  check_text(map.Find(key)->text(), L"told value", "Find brings its value back");
  check_reached("Find");
  check_text(read_only.Find(key)->text(), L"told value", "the reading Find brings its value back");
  check_reached("Find const");
  check_same(map.Get(key, value), 102, "Get brings its number back");
  check_reached("Get");
  zv::IEnum<wide, wide>& enumerator = *map.GetEnum();
  check_reached("GetEnum");
  map.Erase(&enumerator);
  check_reached("Erase");
  check_same(map.Remove(key), 103, "Remove brings its number back");
  check_reached("Remove");
  const zv::IConstEnum<wide, wide>* const_enumerator = map.GetConstEnum();
  check(const_enumerator != nullptr, "GetConstEnum brings an enumerator back");
  check_reached("GetConstEnum");
  map.Clear();
  check_reached("Clear");
  check_same(map.Count(), 0x100000001, "Count has 64 bits");
  check_reached("Count");
}

void told_list() {
  about("Each slot of a list leads to its operation:");
  text_list& list = *probe->function<text_list*()>("probe_told_list")();
  const text_list& read_only = list;
  wide value(L"v");
  check_same(list.PushBack(value), 101, "PushBack brings its number back");
  check_reached("PushBack");
  check_same(list.PushFront(value), 102, "PushFront brings its number back");
  check_reached("PushFront");
  check_text(list.Back()->text(), L"told value", "Back brings its value back");
  check_reached("Back");
  check_text(read_only.Back()->text(), L"told value", "the reading Back brings its value back");
  check_reached("Back const");
  check_same(list.GetBack(value), 103, "GetBack brings its number back");
  check_reached("GetBack");
  check_text(list.Front()->text(), L"told value", "Front brings its value back");
  check_reached("Front");
  check_text(read_only.Front()->text(), L"told value", "the reading Front brings its value back");
  check_reached("Front const");
  check_same(list.GetFront(value), 104, "GetFront brings its number back");
  check_reached("GetFront");
  zv::IListEnum<wide>* enumerator = list.GetEnum();
  check_reached("GetEnum");
  list.Erase(enumerator);
  check_reached("Erase");
  check(list.GetConstEnum() != nullptr, "GetConstEnum brings an enumerator back");
  check_reached("GetConstEnum");
  list.Clear();
  check_reached("Clear");
  check_same(list.Count(), 0x100000001, "Count has 64 bits");
  check_reached("Count");
}

template <class Enumerator>
void told_positions(Enumerator& enumerator, const char* has_next, const char* next,
                    const char* value) {
  check(enumerator.HasNext(), "HasNext brings its bool back");
  check_reached(has_next);
  check_text(enumerator.Next()->text(), L"told value", "Next brings its element back");
  check_reached(next);
  check_text(enumerator.Value()->text(), L"told value", "Value brings the value back");
  check_reached(value);
}

template <class Enumerator>
void told_ends(Enumerator& enumerator, const char* release, const char* reset, const char* ended,
               const char* freed) {
  enumerator.Release();
  check_reached(release);
  enumerator.Reset();
  check_reached(reset);
  enumerator.~Enumerator();
  check_reached(ended);
  Enumerator* same_object = &enumerator;
  delete same_object;
  check_reached(freed);
}

void told_enumerators() {
  about("Each slot of the four enumerators leads to its operation:");
  text_map& map = *probe->function<text_map*()>("probe_told_map")();
  text_list& list = *probe->function<text_list*()>("probe_told_list")();

  auto& changing = *map.GetEnum();
  told_positions(changing, "IEnum::HasNext", "IEnum::Next", "IEnum::Value");
  check_text(changing.Key()->text(), L"told key", "Key brings the key back");
  check_reached("IEnum::Key");
  told_ends(changing, "IEnum::Release", "IEnum::Reset", "IEnum::destructor 0",
            "IEnum::destructor 1");

  auto& reading = *map.GetConstEnum();
  told_positions(reading, "IConstEnum::HasNext", "IConstEnum::Next", "IConstEnum::Value");
  check_text(reading.Key()->text(), L"told key", "Key brings the key back");
  check_reached("IConstEnum::Key");
  told_ends(reading, "IConstEnum::Release", "IConstEnum::Reset", "IConstEnum::destructor 0",
            "IConstEnum::destructor 1");

  auto& list_changing = *list.GetEnum();
  told_positions(list_changing, "IListEnum::HasNext", "IListEnum::Next", "IListEnum::Value");
  told_ends(list_changing, "IListEnum::Release", "IListEnum::Reset", "IListEnum::destructor 0",
            "IListEnum::destructor 1");

  auto& list_reading = *list.GetConstEnum();
  told_positions(list_reading, "IConstListEnum::HasNext", "IConstListEnum::Next",
                 "IConstListEnum::Value");
  told_ends(list_reading, "IConstListEnum::Release", "IConstListEnum::Reset",
            "IConstListEnum::destructor 0", "IConstListEnum::destructor 1");
}

void real_map() {
  about("A map of the module works for this host:");
  text_map& map = *probe->function<text_map*()>("probe_make_map")();
  const text_map& read_only = map;
  {
    const wide red(L"red");
    check_same(map.Insert(red, wide(L"rouge")), 0, "a new key is taken");
    check_same(map.Insert(red, wide(L"rot")), 183, "a present key is refused");
    check_same(map.Insert(wide(L"Red"), wide(L"Rouge")), 0,
               "a key that differs in case is another key");
    check_same(map.Count(), 2, "two entries stand in the map");
    check_text(map.Find(red)->text(), L"rouge", "Find shows the stored value");
    check(read_only.Find(red) == map.Find(red), "both Finds show the same place");
    check(map.Find(wide(L"blue")) == nullptr, "Find of an absent key gives null");

    *map.Find(red) = L"carmine";
    wide copy;
    check_same(map.Get(red, copy), 0, "Get finds the key");
    check_text(copy.text(), L"carmine", "Get copies what this host stored in the module's map");
    check_same(map.Get(wide(L"blue"), copy), 1168, "Get of an absent key says so");

    uint32_t seen = 0;
    auto* reading = map.GetConstEnum();
    while (reading->HasNext()) {
      const wide* key = reading->Key();
      const wide* value = reading->Value();
      seen += same(key->text(), L"red") && same(value->text(), L"carmine") ? 1u : 0u;
      seen += same(key->text(), L"Red") && same(value->text(), L"Rouge") ? 10u : 0u;
      check(reading->Next() == value, "Next gives the element that it leaves");
    }
    check_same(seen, 11, "the reading enumerator pairs keys and values");
    reading->Reset();
    check(reading->HasNext(), "Reset goes back to the first entry");
    reading->Release();

    auto* changing = map.GetEnum();
    if (!same(changing->Key()->text(), L"red")) changing->Next();
    check_text(changing->Value()->text(), L"carmine",
               "the changing enumerator pairs keys and values");
    host_manager = {};
    map.Erase(changing);
    check(host_manager.free == 2 && host_manager.release == 1,
          "the module ends the text that this host put there through this host's memory manager");
    check_same(map.Count(), 1, "Erase takes the entry under the enumerator out");
    check(map.Find(red) == nullptr, "the erased key is gone");
    delete changing;

    check_same(map.Remove(red), 1168, "Remove of an absent key says so");
    check_same(map.Remove(wide(L"Red")), 0, "Remove takes a present key");
    check_same(map.Insert(red, red), 0, "the map goes on");
    map.Clear();
    check_same(map.Count(), 0, "Clear empties the map");
  }
  probe->function<void(text_map*)>("probe_delete_map")(&map);

  number_map& numbers = *probe->function<number_map*()>("probe_make_number_map")();
  {
    const wide key(L"n");
    check_same(numbers.Insert(key, -5'000'000'000), 0, "a map of integers takes a value");
    check(*numbers.Find(key) == -5'000'000'000, "Find shows its 64 bits");
    int64_t value = 0;
    check(numbers.Get(key, value) == 0 && value == -5'000'000'000, "Get copies its 64 bits");
  }
  probe->function<void(number_map*)>("probe_delete_number_map")(&numbers);
}

void real_list() {
  about("A list of the module works for this host:");
  text_list& list = *probe->function<text_list*()>("probe_make_list")();
  const text_list& read_only = list;
  {
    wide copy;
    check(list.Front() == nullptr && list.Back() == nullptr,
          "an empty list has no first and no last value");
    check_same(list.GetFront(copy), 1168, "GetFront of an empty list says so");
    check_same(list.GetBack(copy), 1168, "GetBack of an empty list says so");

    check_same(list.PushBack(wide(L"two")), 0, "PushBack takes a value");
    check_same(list.PushFront(wide(L"one")), 0, "PushFront takes a value");
    check_same(list.PushBack(wide(L"three")), 0, "PushBack takes another");
    check_text(list.Front()->text(), L"one", "Front shows the first");
    check_text(list.Back()->text(), L"three", "Back shows the last");
    check(read_only.Front() == list.Front() && read_only.Back() == list.Back(),
          "the reading forms agree");
    check(list.GetFront(copy) == 0 && same(copy.text(), L"one"), "GetFront copies the first");
    check(list.GetBack(copy) == 0 && same(copy.text(), L"three"), "GetBack copies the last");

    auto* changing = list.GetEnum();
    check_text(changing->Next()->text(), L"one", "Next gives the element that it leaves");
    check_text(changing->Value()->text(), L"two", "and steps on");
    list.Erase(changing);
    check_text(changing->Value()->text(), L"three", "Erase moves the enumerator on");
    changing->Reset();
    check_text(changing->Value()->text(), L"one", "Reset goes back to the first");
    changing->Release();

    auto* reading = list.GetConstEnum();
    uint32_t seen = 0;
    for (; reading->HasNext(); reading->Next())
      seen += same(reading->Value()->text(), L"one") ? 1u : 10u;
    check_same(seen, 11, "the reading enumerator shows each element");
    delete reading;

    check_same(list.Count(), 2, "two elements are left");
    list.Clear();
    check_same(list.Count(), 0, "Clear empties the list");
  }
  probe->function<void(text_list*)>("probe_delete_list")(&list);
}

class own_task final : public EqWorkItem {
 public:
  own_task(uint32_t& executed, uint32_t& ended) : executed_(executed), ended_(ended) {}
  ~own_task() override { ++ended_; }
  void Release() override { delete this; }
  void Execute() override { ++executed_; }

 private:
  uint32_t& executed_;
  uint32_t& ended_;
};

void tasks() {
  about("Tasks go both ways:");
  host_services host;
  auto* enqueue = probe->function<uint32_t(execution_service*)>("probe_enqueue");
  auto* runs = probe->function<uint32_t()>("probe_task_runs");
  check_same(enqueue(&host), 0, "the module puts a task into a queue of this host");
  check_text(host.calls, "make enqueue release", "made, filled and given back through their slots");
  check_same(runs(), 1, "the task ran through Execute");

  host.calls[0] = 0;
  host.enqueue_result = 5;
  check_same(enqueue(&host), 5, "the queue's refusal comes back");
  check_same(runs(), 1, "a refused task doesn't run");

  uint32_t executed = 0;
  uint32_t ended = 0;
  probe->function<void(EqWorkItem*)>("probe_run_task")(new own_task(executed, ended));
  check_same(executed, 1, "the module runs a task of this host");
  check_same(ended, 1, "and releases it");
  EqWorkItem* task = new own_task(executed, ended);
  void* returned = probe->function<void*(EqWorkItem*)>("probe_delete_task")(task);
  check_same(ended, 2, "the module ends a task of this host through its destructor slot");
  check(returned == task, "which returns the object");
}

uint32_t write_once(void* argument) {
  auto& lock = *static_cast<ISyncRWLock*>(argument);
  lock.WriteLock(0);
  lock.WriteUnlock(0);
  return 0;
}

void locks() {
  about("A lock of the module is driven by this host:");
  ISyncRWLock& told = *probe->function<ISyncRWLock*()>("probe_told_lock")();
  told.ReadLock(1);
  check_reached("ReadLock 1");
  told.ReadUnlock(2);
  check_reached("ReadUnlock 2");
  told.WriteLock(3);
  check_reached("WriteLock 3");
  told.WriteUnlock(4);
  check_reached("WriteUnlock 4");

  ISyncRWLock& lock = *probe->function<ISyncRWLock*()>("probe_make_lock")();
  lock.ReadLock(0);
  lock.ReadLock(0);
  lock.ReadUnlock(0);
  lock.ReadUnlock(0);
  lock.WriteLock(0);
  lock.ReadLock(GetCurrentThreadId());
  lock.ReadUnlock(0);
  lock.WriteUnlock(GetCurrentThreadId());
  void* thread = CreateThread(nullptr, 0, write_once, &lock, 0, nullptr);
  check_same(WaitForSingleObject(thread, 10'000), 0,
             "a real lock nests, and is free for another thread afterwards");
  CloseHandle(thread);
}

void configuration() {
  about("The module reads this host's configuration library:");
  const library config(L"iservconfig.dll");
  auto* calls = config.function<const char*()>("config_calls");
  char id[64];
  probe->function<void(char*, uint32_t)>("probe_product_app_id")(id, sizeof(id));
  check_text<char>(id, "Desktop \xe2\x82\xac", "the application id comes from GetString, in UTF-8");
  check_text(calls(), "Create Init(null) Start GetString Stop UnInit Destroy(root)",
             "the plug-in went through its life, and its root facet was given back");

  config.function<void()>("config_forget")();
  wchar_t path[64];
  check_same(probe->function<uint32_t(wchar_t*, uint32_t)>("probe_profile_path")(path, 64), 0,
             "the profile folder comes from GetString");
  check_text<wchar_t>(path, L"C:\\profiles\\sub", "and is joined with a relative path");
}

}  // namespace

extern "C" [[noreturn]] void entry() {
  end_on_fault();
  {
    const library loaded(L"probe.dll");
    probe = &loaded;
    last_call = loaded.function<const char*()>("probe_last_call");
    told_map();
    told_list();
    told_enumerators();
    real_map();
    real_list();
    tasks();
    locks();
    event_tables(loaded);
    configuration();
  }
  ExitProcess(closing_line());
}
