#include "fault.h"

#include <ostream>
#include <stdexcept>

namespace reliability {

namespace {

test_support::RedisOptions options_of(const std::string &program) {
    test_support::RedisOptions options;
    options.program = program;
    return options;
}

}  // namespace

Scene::Scene(const std::string &program, bool has_proxy) : server_(options_of(program)) {
    reconnect();
    fill();
    if (has_proxy) {
        proxy_ = std::make_unique<mom_test::Proxy>(server_.socket_path());
    }
    subject_ = std::make_unique<Subject>(has_proxy ? proxy_->store_name() : server_.store_name(), *publisher_);
}

void Scene::reconnect() {
    administrator_.emplace(server_.connection());
    publisher_ = std::make_unique<readiness::LocalPublisher>(server_.store_name());
    writer_ = test_support::connect_client(server_.store_name(), {TREL_CAP_DB_CAPABILITIES});
}

void Scene::publish_capability(int32_t value) {
    if (trel_cap_ce_set_g_cap_int32(writer_.get(), kFollowedUrl, value) != 0) {
        throw std::runtime_error(ox_mom_last_error());
    }
}

void Scene::fill() {
    publisher_->bring_up(kKept);
    publisher_->bring_up(kPulled);
    publisher_->state(readiness::CardClass::kLine, true);
    publish_capability(1);
}

void Scene::change() {
    publisher_->remove(kPulled);
    publisher_->drop_readiness(kPulled);
    publisher_->withdraw_check(kPulled);
    publisher_->bring_up(kInserted);
    publish_capability(2);
}

std::ostream &operator<<(std::ostream &out, const Fault &fault) { return out << fault.title; }

std::vector<Fault> all_faults() {
    std::vector<Fault> all = network_faults();
    for (auto &&more : {server_faults(), data_faults()}) {
        all.insert(all.end(), more.begin(), more.end());
    }
    return all;
}

}  // namespace reliability
