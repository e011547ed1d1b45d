#include "wyrtlog/push.h"

#include "base/refusal.h"
#include "wyrtlog/push/http.h"
#include "wyrtlog/push/pusher.h"
#include "wyrtlog/seriesoptions.h"

int push(const Asked& typed) {
    auto asked = typed;
    asked.follow = !asked.once;
    if (asked.cursor.empty()) asked.cursor = "/var/lib/wyrt-push/cursor";
    const HttpSettings http{asked.url,       asked.ca,   asked.cert,        asked.key,
                            asked.tokenFile, asked.user, asked.passwordFile};
    SeriesChoice series;
    Bounds bounds;
    auto wrong = whyNotSettings(http);
    if (wrong.empty()) wrong = takeSeriesOptions(asked, series);
    if (wrong.empty()) wrong = takeBounds(asked, bounds);
    if (!wrong.empty()) return refused(wrong, "wyrt push --help");
    Signals signals;
    HttpReceiver receiver(http, signals);
    return Pusher(asked, series, receiver, signals).run(bounds);
}
