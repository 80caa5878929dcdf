#include "host/media/LibavLog.h"

#include <glog/logging.h>

#include <array>
#include <cstdarg>
#include <set>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/log.h>
}

namespace Tarsel::Host {

namespace {

/// The watches alive. A context's `opaque` field may belong to somebody else, so it is looked up here before it is
/// used. The lock is held while the watch notes a line, which keeps its destructor waiting until then.
struct WatchList {
    Core::Mutex lock;
    std::set<void const*> watches TARSEL_GUARDED_BY(lock);
};

WatchList& Watches() {
    static WatchList* const list = new WatchList;  // never freed: a library's thread may log while the program exits
    return *list;
}

/// What a thread has been given of a line that has no end yet.
std::string& UnfinishedLine() {
    thread_local std::string line;
    return line;
}

int VerbosityOf(int level) {
    if (level <= AV_LOG_INFO) return 2;
    if (level <= AV_LOG_VERBOSE) return 11;
    return 4000;
}

void WriteLine(int level, bool hidden, std::string const& line) {
    if (hidden) {
        VLOG(21) << line;
    } else if (level <= AV_LOG_ERROR) {
        LOG(ERROR) << line;
    } else if (level <= AV_LOG_WARNING) {
        LOG(WARNING) << line;
    } else {
        VLOG(VerbosityOf(level)) << line;
    }
}

}  // namespace

void HandleLibavLine(void* object, int level, char const* format, va_list arguments) {
    level &= 0xff;  // the higher bits are a colour
    if (level > AV_LOG_WARNING && (level > AV_LOG_DEBUG || !VLOG_IS_ON(VerbosityOf(level)))) return;
    std::array<char, 2048> text{};
    int printPrefix = UnfinishedLine().empty() ? 1 : 0;
    av_log_format_line2(object, level, format, arguments, text.data(), static_cast<int>(text.size()), &printPrefix);
    std::string& unfinished = UnfinishedLine();
    unfinished += text.data();
    if (unfinished.empty() || (unfinished.back() != '\n' && unfinished.size() < text.size())) return;
    std::string line;
    line.swap(unfinished);
    while (!line.empty() && (line.back() == '\n' || line.back() == '\r')) line.pop_back();
    if (line.empty()) return;

    bool hidden = false;
    AVClass const* const type = object ? *static_cast<AVClass const* const*>(object) : nullptr;
    if (type && type == avcodec_get_class()) {
        void* const owner = static_cast<AVCodecContext*>(object)->opaque;
        WatchList& list = Watches();
        Core::MutexLock const lock(list.lock);
        if (owner && list.watches.count(owner) != 0) hidden = static_cast<LibavLogWatch*>(owner)->Note(level, line);
    }
    WriteLine(level, hidden, line);
}

void RouteLibavLog() {
    static bool const routed = [] {
        av_log_set_callback(&HandleLibavLine);
        return true;
    }();
    (void)routed;
}

LibavLogWatch::LibavLogWatch() {
    RouteLibavLog();
    WatchList& list = Watches();
    Core::MutexLock const lock(list.lock);
    list.watches.insert(this);
}

LibavLogWatch::~LibavLogWatch() {
    WatchList& list = Watches();
    Core::MutexLock const lock(list.lock);
    list.watches.erase(this);
}

void LibavLogWatch::Attach(AVCodecContext& context) {
    context.opaque = this;
}

bool LibavLogWatch::Note(int level, std::string const& text) {
    if (quiet) return true;
    if (level > AV_LOG_WARNING) return false;
    if (level <= AV_LOG_ERROR)
        ++errors;
    else
        ++warnings;
    Core::MutexLock const lock(textLock);
    if (level <= AV_LOG_ERROR && firstError.empty()) firstError = text;
    lastText = text;
    return false;
}

std::string LibavLogWatch::GetFirstError() const {
    Core::MutexLock const lock(textLock);
    return firstError;
}

std::string LibavLogWatch::GetLastText() const {
    Core::MutexLock const lock(textLock);
    return lastText;
}

}  // namespace Tarsel::Host
