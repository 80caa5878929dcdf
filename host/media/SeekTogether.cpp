#include "host/media/SeekTogether.h"

#include <exception>
#include <string_view>

namespace Tarsel::Host {

namespace {

/// What caches say that still stand at the position of a seek that failed.
constexpr std::string_view OTHER_POSITION = "all registered caches must be positioned to the same position";
constexpr std::string_view NOT_IN_WINDOW = "buffer overrun";

/// The text may stand within that of a node that passed the failure on.
bool Says(std::exception const& failure, std::string_view text) {
    return std::string_view(failure.what()).find(text) != std::string_view::npos;
}

/// Asks all streams. Caches that were asked for another place refuse until the last of them has been asked: those are
/// asked again.
void RequestAll(std::vector<SeekTarget> const& targets, bool cached) {
    std::vector<SeekTarget> refused;
    for (SeekTarget const& target : targets) {
        try {
            target.stream->RequestSeek(target.position, nullptr);
        } catch (std::exception const& failure) {
            if (!cached || !Says(failure, OTHER_POSITION)) throw;
            refused.push_back(target);
        }
    }
    for (SeekTarget const& target : refused) target.stream->RequestSeek(target.position, nullptr);
}

}  // namespace

bool MissesWindow(std::exception const& failure) {
    return Says(failure, NOT_IN_WINDOW);
}

void SeekTogether(std::vector<SeekTarget> const& targets, std::vector<iptr<Proc::IFilterCacheController>> const& caches,
                  int64 cachePosition) {
    RequestAll(targets, !caches.empty());
    for (SeekTarget const& target : targets) {
        try {
            target.stream->DoSeek();
        } catch (std::exception const& failure) {
            if (caches.empty() || !MissesWindow(failure)) throw;
            for (auto const& controller : caches) controller->SeekCaches(cachePosition);
        }
    }
    for (SeekTarget const& target : targets) target.stream->FinishSeek();
}

}  // namespace Tarsel::Host
