// What answers a browse from the network. An input is four bytes that decide how the world answers, one for the address
// family, and texts, each behind a byte with its length: name, type, domain, host, address, the items of the TXT record.

#include "world.h"

#include "mdns/browse.cpp" // NOLINT(bugprone-suspicious-include): for its static functions

#include <string>

// Avahi: a resolver is a block of memory that must be freed once.

static AvahiServiceResolver *new_resolver;
static int an_object;
static AvahiClient *const kClient = reinterpret_cast<AvahiClient *>(&an_object);

int avahi_client_errno(AvahiClient * /*client*/)
{
    return AVAHI_ERR_TIMEOUT;
}

AvahiClient *avahi_service_resolver_get_client(AvahiServiceResolver * /*resolver*/)
{
    return kClient;
}

int avahi_service_resolver_free(AvahiServiceResolver *resolver)
{
    free(resolver);
    return 0;
}

AvahiServiceResolver *avahi_service_resolver_new(AvahiClient * /*client*/, AvahiIfIndex /*interface*/,
                                                 AvahiProtocol /*protocol*/, const char * /*name*/,
                                                 const char * /*type*/, const char * /*domain*/,
                                                 AvahiProtocol /*a_protocol*/, AvahiLookupFlags /*flags*/,
                                                 AvahiServiceResolverCallback callback, void * /*userdata*/)
{
    new_resolver = callback == av_resolve_cb ? reinterpret_cast<AvahiServiceResolver *>(malloc(1)) : nullptr;
    return new_resolver;
}

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

    world::begin(luck, nullptr);
    auto *const browser = reinterpret_cast<AvahiServiceBrowser *>(&an_object);
    for (const auto event : {AVAHI_BROWSER_NEW, AVAHI_BROWSER_REMOVE}) {
        av_browse_cb(browser, 2, address.proto, event, name.c_str(), type.c_str(), domain.c_str(), {}, kClient);
    }
    const auto event = world::choose(8) == 1 ? AVAHI_RESOLVER_FAILURE : AVAHI_RESOLVER_FOUND;
    av_resolve_cb(new_resolver, 2, address.proto, event, name.c_str(), type.c_str(), domain.c_str(), host.c_str(),
                  world::choose(8) == 1 ? nullptr : &address, 0, txt, {}, kClient);
    avahi_string_list_free(txt);
    world::end();
    return 0;
}
