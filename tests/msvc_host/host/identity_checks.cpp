// Who the user is: asked of the agents, offered by the integrator, put into requests.

#include "host/connect_groups.h"
#include "runtime/lock.h"

namespace {

using zvnc::call;

struct running_integrator {
  running_integrator(const module_exports& module, product_host& host)
      : plugin(module, integrator_name) {
    check_same(plugin->Init(&host), 0, "Init succeeds");
    requests = plugin.get<IConnectRequests>(IID_IConnectRequests);
    older = plugin.get<IConnectRequestsCompatibility>(IID_IConnectRequestsCompatibility);
    provider = plugin.get<IAuthDataProvider>(IID_IAuthDataProvider);
    observer = plugin.get<ibus_observer>(IID_ibus_observer);
    if (!check(requests && older && provider && observer, "it offers its interfaces"))
      ExitProcess(closing_line());
  }

  own_plugin plugin;
  IConnectRequests* requests;
  IConnectRequestsCompatibility* older;
  IAuthDataProvider* provider;
  ibus_observer* observer;
};

// The user as the module gives it; the status of the asking.
struct known_user {
  explicit known_user(IAuthDataProvider& provider) : status(provider.GetAuthData(data)) {}
  bool is(const char* device_id, const char* user_token) const {
    return status == 0 && same(data.device_id.text(), device_id) &&
           same(data.user_token.text(), user_token);
  }

  auth_data data;
  uint32_t status;
};

void begun(const running_integrator& of, product_host& host) {
  check(contains(host.calls, "execution manager get(productagent) get(cloud_requests)"),
        "the host was asked for its services, the agent and the requests");
  check(!contains(host.calls, "unused"), "and for nothing through its other slots");
  check_same(host.agent.asked, 1, "the agent was asked for its user once");
  check_same(host.agent.infos, 0, "and got its answer back");
  const IServPlugin* object = &*of.plugin;
  check(of.plugin.get<void>(IID_IConnectIntegrator) == object,
        "the integrator's own identifier gives the object");
  check_same(distance(object, of.provider), 32, "the way to the user stands at offset 32");
  check(host.agent.events && distance(object, host.agent.events) == 40,
        "what the agent was given to tell of changes at 40");
  check_same(distance(object, of.observer), 48, "what the bus was given at 48");
}

void pair_of_texts(const running_integrator& of) {
  about("The user comes as a pair of texts:");
  check(known_user(*of.provider).is("device \xe2\x82\xac", "t\xc3\xb6ken"), "device, then token");
  host_manager = {};
  {
    auth_data own;
    own.device_id.create("old", 4);
    own.user_token.create("a longer text than the other", 40);
    const zv::StringRecord* record = own.user_token.record();
    check_same(of.provider->GetAuthData(own), 0, "texts of this host are written");
    check(same(own.device_id.text(), "device \xe2\x82\xac") &&
              same(own.user_token.text(), "t\xc3\xb6ken"),
          "each with its own");
    check(own.user_token.record() == record && record->manager == zv::string_manager(),
          "in this host's memory");
  }
  check(host_manager.free == 4 && host_manager.release == 2, "all of which came back");
}

void requests_in_the_users_name(const bus_libraries& with, const running_integrator& of) {
  about("A request in the user's name:");
  with.forget();
  with.answer(0, "{\"result\": {\"value\": 5}}");
  cloud::connect_request request;
  fill_own(request);
  cloud::request_reply reply;
  check_status(of.requests->resolve(request, reply, true), 0, 0, "succeeds");
  check_text(reply.text.text(), "{\"value\": 5}", "with its reply");
  const zvnc::record* ask = with.nth(call::ask);
  if (check(ask != nullptr, "the library was asked")) {
    check_sent(with, default_app_id, "t\xc3\xb6ken", "device \xe2\x82\xac",
               "for the product, its user and device");
    check_text<char>(ask->first, "connect/checks", "with the service");
    check_same(ask->number, 1234, "and the timeout");
  }
  check(same(request.source.app_id.text(), "own app") &&
            same(request.source.user_token.text(), "own token"),
        "the caller's record is as it was");
  with.answer(0x89abcdef, "");
  check_status(of.requests->resolve(request, reply, true), 2, 0x89abcdef,
               "a failure comes back as a record by value");
}

void requests_in_the_callers_name(const bus_libraries& with, const running_integrator& of) {
  about("A request in the caller's name:");
  const auto check_own = [&](const char* sentence) {
    check_sent(with, "own app", "own token", "own device", sentence);
  };
  with.forget();
  with.answer(0, "{\"result\": 1}");
  cloud::connect_request request;
  fill_own(request);
  cloud::request_reply reply;
  check_status(of.requests->resolve(request, reply, false), 0, 0, "succeeds");
  check_own("with the source as it was written");

  with.forget();
  check_status(of.older->resolve(request, reply), 0, 0, "succeeds through the older facet");
  check_own("and leaves the source alone too");

  // The register or stack place of a bool has room for more, which a caller needn't clear.
  using slot = cloud::request_status*(IConnectRequests * self, cloud::request_status * result,
                                      const cloud::connect_request& request,
                                      cloud::request_reply& reply, uint64_t flag);
  slot* resolve = (*reinterpret_cast<slot***>(of.requests))[2];
  cloud::request_status status{77, 77};
  with.forget();
  check(resolve(of.requests, &status, request, reply, 0x1234567800) == &status,
        "the operation returns the place of its result");
  check_status(status, 0, 0, "into which it wrote");
  check_own("of the flag only the lowest byte counts");
}

class network_observer final : public cloud::ICloudConnectionObserver {
 public:
  void OnNetworkAvailable() override { add_to(heard, 1); }
  int32_t heard = 0;
};

void cloud_state(const bus_libraries& with, const running_integrator& of) {
  about("The state of the cloud:");
  with.cloud_status(0, 1);
  check(!of.requests->is_cloud_up(), "is down");
  network_observer observer;
  check(of.requests->add_observer(&observer, 0xabcdef0123456789), "an observer is taken");
  check_same(static_cast<uint32_t>(observer.heard), 0, "and hears nothing yet");
  with.cloud_status(0, 0);
  check(of.requests->is_cloud_up(), "is up");
  check(with.fire_cloud_up() && observer.heard == 1, "which the observer hears");
  check(!of.requests->remove_observer(&observer, 0x23456789), "it isn't known by half its context");
  check(of.requests->remove_observer(&observer, 0xabcdef0123456789), "but by all of it");
  check(with.fire_cloud_up() && observer.heard == 1, "and hears nothing more");
}

void changes(const bus_libraries& with, const running_integrator& of, product_host& host) {
  about("The user changes:");
  told_agent& agent = host.agent;
  uint32_t from = with.line_count();
  check(agent.tell_of_change(), "the agent tells of a change that is none");
  check(with.line_with(L"Same connect source", from), "which is noticed");
  check_same(agent.asked, 2, "it was asked for its user again");

  agent.sign_in(L"another device", L"another token");
  check(agent.tell_of_nothing(), "its other call does nothing:");
  check_same(agent.asked, 2, "it isn't asked");
  check(known_user(*of.provider).is("device \xe2\x82\xac", "t\xc3\xb6ken"), "the user stays");
  check(agent.tell_of_change(), "it tells of the change");
  check(known_user(*of.provider).is("another device", "another token"), "the user is another one");

  agent.sign_out(0x80000005);
  from = with.line_count();
  check(agent.tell_of_change(), "the user signs out");
  auth_data untouched;
  untouched.device_id = "as it was";
  check_same(of.provider->GetAuthData(untouched), 232, "nobody is known");
  check_text(untouched.device_id.text(), "as it was", "and the texts stay as they were");
  check(with.line_with(L"Agent-GetUserInfo has failed, err: 2147483653", from),
        "the agent's status is in the log, all 32 bits of it");
  cloud::connect_request request;
  fill_own(request);
  cloud::request_reply reply;
  check_status(of.requests->resolve(request, reply, true), 1, 232, "requests have no user");

  agent.sign_in(L"device", L"token");
  check(agent.tell_of_change() && known_user(*of.provider).is("device", "token"),
        "the user signs in again");
  check_same(agent.infos, 0, "the agent got back each answer");
}

void ended(const bus_libraries& with, const running_integrator& of, product_host& host) {
  about("End of the integrator:");
  host.calls[0] = 0;
  with.forget();
  with.forget_bus();
  check_same(of.plugin->UnInit(), 0, "UnInit succeeds");
  check(contains(host.calls, "release(productagent) release(cloud_requests)"),
        "agent and requests are given back, in this order");
  check(!host.agent.events, "the agent has nobody to tell any more");
  check_same(host.agent.wrong_calls, 0, "and was never called in a wrong way");
  const msgbus::record* removed = with.nth_on_bus(msgbus::call::remove_observer);
  check(removed && removed->pointer == of.observer && removed->as_told,
        "the bus lost its observer");
  check(!of.plugin.get<void>(IID_IAuthDataProvider), "there is no way to the user");
  check(with.count(call::uninit) >= 2, "the client instances are given back");
}

}  // namespace

void identity_of_the_agent(const bus_libraries& with, const module_exports& module) {
  about("The integrator beside an agent in its process:");
  product_host host(module);
  host.agent.sign_in(L"device \x20ac", L"t\xf6ken");
  with.forget_bus();
  const running_integrator of(module, host);
  begun(of, host);
  bool is_observed = false;
  for (uint32_t i = 0; auto* added = with.nth_on_bus(msgbus::call::add_observer, i); ++i) {
    is_observed |= added->pointer == of.observer && added->as_told;
  }
  check(is_observed, "the bus was given its observer, with 0");
  pair_of_texts(of);
  requests_in_the_users_name(with, of);
  requests_in_the_callers_name(with, of);
  cloud_state(with, of);
  changes(with, of, host);
  ended(with, of, host);
}

void identity_of_the_user_service(const bus_libraries& with, const module_exports& module) {
  about("The integrator beside an agent that asks another process:");
  product_host host(module);
  host.offers_agent = false;
  host.offers_agent_client = true;
  host.agent_client.sign_in(L"device", L"token");
  with.forget_bus();
  const running_integrator of(module, host);
  check(contains(host.calls, "get(productagent) get(productagentcommclient)"),
        "was asked for by its own identifier");
  check(host.agent_client.events, "was given its events");
  const msgbus::record* asked = with.nth_on_bus(msgbus::call::is_listening);
  if (check(asked != nullptr, "the bus was asked for the user's service")) {
    check_text<char>(asked->channel, user_service_channel, "by its channel");
    check_text<char>(asked->listener, user_service_listener, "and listener");
  }
  check_same(known_user(*of.provider).status, 232, "while it is away, nobody is known");

  about("The bus tells of listeners:");
  with.bus->AddListener(user_service_channel, "another_service");
  check(with.bus_is_quiet() && known_user(*of.provider).status == 232, "another one counts little");
  with.bus->AddListener(user_service_channel, user_service_listener);
  check(comes([&] { return known_user(*of.provider).is("device", "token"); }),
        "the user's service is heard of, and its user becomes known");
  with.bus->RemoveListener(user_service_channel, user_service_listener);
  with.bus->RemoveListener(user_service_channel, "another_service");
  check(with.bus_is_quiet() && known_user(*of.provider).is("device", "token"),
        "its going changes nothing");

  about("The bus's facet, called by this host:");
  check(of.observer->QueryInterface(IID_IConnectIntegrator) == &*of.plugin,
        "its first slot finds the object");
  check(of.observer->QueryInterface(IID_ibus_observer) == of.observer, "and itself");
  const uint32_t before = host.agent_client.asked;
  of.observer->on_listener_removed(nullptr, user_service_channel, user_service_listener);
  of.observer->on_new_listener(nullptr, "cl.other", user_service_listener);
  check_same(host.agent_client.asked, before, "its last slot does nothing");

  check_same(of.plugin->UnInit(), 0, "UnInit succeeds");
  check(contains(host.calls, "release(productagentcommclient) release(cloud_requests)"),
        "all is given back");
  check(!host.agent_client.events && host.agent_client.infos == 0 &&
            host.agent_client.wrong_calls == 0,
        "the agent is free, and was never called in a wrong way");

  about("The same with the user's service there from the start:");
  with.bus->AddListener(user_service_channel, user_service_listener);
  check_same(of.plugin->Init(&host), 0, "Init succeeds");
  check(known_user(*of.provider).is("device", "token"), "and knows the user at once");
  check_same(of.plugin->UnInit(), 0, "UnInit succeeds");
  with.bus->RemoveListener(user_service_channel, user_service_listener);
}
