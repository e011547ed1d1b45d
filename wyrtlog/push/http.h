// A receiver that is reached by HTTP or HTTPS.
#pragma once

#include "base/wait.h"
#include "wyrtlog/push/receiver.h"

#include <memory>
#include <string>

struct HttpSettings {
    std::string url;
    std::string ca, cert, key;                 // files; empty: those of the system; none
    std::string tokenFile, user, passwordFile; // empty: none
};
// Why they cannot be used, without a word of what is secret in them; empty: they can. Files are looked at when they are
// used.
std::string whyNotSettings(const HttpSettings& settings);
// What the header Authorization has for the text of a file with a token: "Bearer TOKEN", or the text itself where it
// names the way, "Token TOKEN". None: it is no token.
std::optional<std::string> authorizationOf(std::string_view text);

class HttpReceiver : public Receiver {
    struct State;
    std::unique_ptr<State> state;
    HttpSettings settings;
    Signals& signals;

public:
    // One of the signals ends a wait for an answer.
    HttpReceiver(HttpSettings what, Signals& ending);
    ~HttpReceiver() override;
    Reply send(std::string_view body) override;
};
