#include "subject.h"

#include <array>
#include <ostream>
#include <utility>

#include "log.h"

namespace reliability {

std::ostream &operator<<(std::ostream &out, const Picture &picture) {
    for (const readiness::Entry &entry : picture.nodes) {
        out << entry << "; ";
    }
    for (const auto &[node, is_ready] : picture.ready) {
        out << node << (is_ready != 0 ? " told ready; " : " told not ready; ");
    }
    return out << (picture.system_is_ready ? "system ready" : "system not ready") << "; read " << picture.read_status
               << ", " << picture.read << "; followed " << picture.followed.value_or(-1);
}

Subject::Subject(const std::string &store, readiness::Publisher &publisher)
    : application_(store, readiness::kLineCards) {
    for (const readiness::Heard &heard : application_.heard(publisher)) {
        hear(heard);
    }
    application_.run([this] {
        thread_ = std::this_thread::get_id();
        application_.on_event = [this](const readiness::Heard &heard) { hear(heard); };
        trel_cap_ce_subscribe_g_cap_int32_ext(application_.client(), kFollowedUrl, on_followed, this);
        int32_t value = 0;
        if (trel_cap_ce_get_g_cap_int32(application_.client(), kFollowedUrl, &value) == 0) {
            followed_ = value;
        }
        write();  // loads the script, so that later ones make one request each
    });
    take_told();
}

void Subject::hear(const readiness::Heard &heard) {
    told_.insert_or_assign(heard.node.value_or(0), heard);
    if (!heard.node.has_value()) {
        return;
    }
    if (heard.ready != 0) {
        ready_[*heard.node] = 1;
    } else {
        ready_.erase(*heard.node);
    }
}

int32_t Subject::on_followed(MomClient *, MomMsg *msg, void *subject) {
    std::array<char, 64> url{};
    int32_t value = 0;
    uint32_t length = 0;
    const bool is_there = static_cast<const MomHashResult *>(msg->result)->record != nullptr &&
                          trel_cap_ce_get_g_cap_int32_by_pmsg(msg, url.size(), url.data(), &value, &length) == 0;
    static_cast<Subject *>(subject)->followed_ = is_there ? std::optional(value) : std::nullopt;
    return 0;
}

Picture Subject::picture() {
    Picture picture;
    picture.nodes = application_.nodes();
    application_.run([&] {
        const Unlogged unlogged;  // how often it is asked for is chance
        picture.ready = ready_;
        picture.system_is_ready = g_trel_g_cap_calc_ready != 0;
        picture.read_status = trel_cap_ce_get_g_cap_int32(application_.client(), kFollowedUrl, &picture.read);
        picture.followed = followed_;
    });
    return picture;
}

int32_t Subject::read() {
    int32_t value = 0;
    return trel_cap_ce_get_g_cap_int32(application_.client(), kFollowedUrl, &value);
}

int32_t Subject::write() { return trel_cap_ce_set_g_cap_int32(application_.client(), kWrittenUrl, ++written_); }

bool Subject::is_lost() const {
    MomClientStatus status{};
    status.size = sizeof status;
    return ox_mom_client_status(application_.client(), &status) == 0 && status.state == OX_MOM_STATE_LOST;
}

std::map<int32_t, readiness::Heard> Subject::take_told() {
    std::map<int32_t, readiness::Heard> taken;
    application_.run([&] { taken = std::exchange(told_, {}); });
    return taken;
}

}  // namespace reliability
