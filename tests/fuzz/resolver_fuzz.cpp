// What answers a browse from the network. An input is four bytes that decide how the world answers, one for the address
// family, and texts, each behind a byte with its length: name, type, domain, host, address, the items of the TXT record.

#include "mdns/browse.h"
#include "mdns/scripted_avahi.h"
#include "world.h"

#include <string_view>

using avahi::script;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    std::string_view input(reinterpret_cast<const char *>(data), size);
    const auto take = [&input](size_t most) {
        std::string bytes(input.substr(0, most));
        input.remove_prefix(bytes.size());
        return bytes;
    };
    const auto take_text = [&take] {
        const std::string length = take(1);
        return take(length.empty() ? 0 : static_cast<unsigned char>(length[0]));
    };

    uint32_t luck = 0;
    take(sizeof luck).copy(reinterpret_cast<char *>(&luck), sizeof luck);
    AvahiAddress address{take(1) == "6" ? AVAHI_PROTO_INET6 : AVAHI_PROTO_INET, {}};
    const std::string name = take_text();
    const std::string type = take_text();
    const std::string domain = take_text();
    const std::string host = take_text();
    take_text().copy(reinterpret_cast<char *>(&address.data), sizeof address.data);
    AvahiStringList *txt = nullptr;
    while (!input.empty()) {
        const std::string item = take_text();
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
        world::broken("the provisioning file holds '%s'", file.c_str());
    }
    return 0;
}
