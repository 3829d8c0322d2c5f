// What answers a browse from the network: fuzzing chooses the texts, and how the world answers.

#include "mdns/browse.h"
#include "mdns/scripted_avahi.h"
#include "world.h"

#include <fuzzer/FuzzedDataProvider.h>

using avahi::script;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FuzzedDataProvider input(data, size);
    const auto luck = input.ConsumeIntegral<uint32_t>();
    AvahiAddress address{input.ConsumeBool() ? AVAHI_PROTO_INET6 : AVAHI_PROTO_INET, {}};
    input.ConsumeData(&address.data, sizeof address.data);
    const std::string type =
        (input.ConsumeBool() ? "_zerotouchprovsrv._tcp" : "") + input.ConsumeRandomLengthString(255);
    const std::string name = input.ConsumeRandomLengthString(255);
    const std::string domain = input.ConsumeRandomLengthString(255);
    const std::string host = input.ConsumeRandomLengthString(255);
    AvahiStringList *txt = nullptr;
    while (input.remaining_bytes() > 0) {
        const std::string key = input.PickValueInArray({"", "args", "DEF_DEVICETYPE", "DEF_SLOTINFO"});
        const std::string item = key + (input.ConsumeBool() ? "=" : "") + input.ConsumeRandomLengthString(255);
        txt = avahi_string_list_add_arbitrary(txt, reinterpret_cast<const uint8_t *>(item.data()), item.size());
    }

    if (script->browser == nullptr) { // one browse for all inputs, whose thread does nothing
        script->endless = true;
        av_start_mdns_console_browse(5, "_a._tcp");
        script->wait_for_loop();
    }
    const size_t live = script->live.size();
    script->asked.clear();
    world::begin(luck, nullptr);
    script->browsed(AVAHI_BROWSER_REMOVE, name.c_str(), type.c_str());
    script->browsed(AVAHI_BROWSER_NEW, name.c_str(), type.c_str());
    const auto event = world::choose(8) == 1 ? AVAHI_RESOLVER_FAILURE : AVAHI_RESOLVER_FOUND;
    script->resolver_cb(script->resolver, 2, address.proto, event, name.c_str(), type.c_str(), domain.c_str(),
                        host.c_str(), world::choose(8) == 1 ? nullptr : &address, 0, txt, {}, script->client);
    world::end();
    avahi_string_list_free(txt);
    if (script->live.size() != live || testing::Test::HasFailure()) {
        world::broken("Avahi's objects are used or freed wrongly");
    }
    const std::string file = rig::read_file("/run/q7net/dhcp/vsizt");
    if (file != "(none)" && !file.empty() &&
        (!file.starts_with("VSI=") || file.find_first_of("\r\n") != file.size() - 1)) {
        world::broken("the provisioning file holds " + file);
    }
    return 0;
}
