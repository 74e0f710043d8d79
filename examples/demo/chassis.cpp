#include "chassis.h"

#include <functional>
#include <map>
#include <stdexcept>

#include <trel_cap/trel_cap.h>

namespace demo {

namespace {

using Words = std::vector<std::string>;

void must(int32_t status) {
    if (status != 0) {
        throw std::runtime_error(std::string("the publisher cannot write: ") + ox_mom_last_error());
    }
}

// One capability of the device, with the one field that carries its value.
class Capability {
public:
    explicit Capability(const char *url) : url_(url) {
        index_.url = url_.data();
        record_.index = &index_;
    }

    Capability &boolean(bool value) {
        record_.bool_value = value ? 1 : 0;
        field_ = TREL_CAP_FIELD_BOOL;
        text_ = value ? "true" : "false";
        return *this;
    }

    Capability &integer(int32_t value) {
        record_.int32_value = value;
        field_ = TREL_CAP_FIELD_INT32;
        text_ = std::to_string(value);
        return *this;
    }

    std::string publish(MomClient *client) const {
        must(ox_mom_hmset_sync(client, TREL_CAP_DB_CAPABILITIES, &record_.base, &field_, 1));
        return url_ + " = " + text_;
    }

private:
    std::string url_;
    CapTableIndex index_ = CAP_TABLE_INDEX__INIT;
    CapTable record_ = CAP_TABLE__INIT;
    int32_t field_ = 0;
    std::string text_;
};

Words publish_capabilities(MomClient *client) {
    return {Capability(kStackSupport).boolean(true).publish(client),
            Capability(kVlanMax).integer(4094).publish(client),
            Capability(kMtuLimit).integer(9216).publish(client)};
}

Words publish_change(MomClient *client) { return {Capability(kMtuLimit).integer(1500).publish(client)}; }

Words publish_device_ready(MomClient *client) {
    CapGlbState state = CAP_GLB_STATE__INIT;
    state.ready = 1;
    must(ox_mom_set_sync(client, TREL_CAP_DB_CAPABILITIES, &state.base));
    return {"the device is ready"};
}

}  // namespace

std::vector<std::string> publish(MomClient *client, std::string_view step) {
    static const std::map<std::string_view, std::function<Words(MomClient *)>> steps = {
        {"capabilities", publish_capabilities},
        {"change", publish_change},
        {"device-ready", publish_device_ready},
    };
    const auto found = steps.find(step);
    return found == steps.end() ? Words() : found->second(client);
}

}  // namespace demo
