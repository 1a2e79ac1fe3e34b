// The name of each message between the application and its browser, and its fields: one description of them
// serves the writer and the reader.
#pragma once

#include "browserlink/BrowserMessages.h"

namespace tarvo {

template <class Fields>
void describe(CookieFacts& cookie, Fields& field) {
    field.bytes("name", cookie.name);
    field.bytes("value", cookie.value);
    field("domain", cookie.domain);
    field("path", cookie.path);
    field("secure", cookie.secure);
    field("httpOnly", cookie.httpOnly);
    field("expires", cookie.expires);
}

constexpr const char* nameOf(const StartBrowser&) {
    return "start";
}

template <class Fields>
void describe(StartBrowser& message, Fields& field) {
    field("protocol", message.protocol);
    field("userAgent", message.userAgent);
    field("proxy", message.proxy);
    field("stem", message.stem);
}

constexpr const char* nameOf(const GiveCookie&) {
    return "cookie";
}

template <class Fields>
void describe(GiveCookie& message, Fields& field) {
    describe(message.cookie, field);
}

constexpr const char* nameOf(const ForgetCookies&) {
    return "forgetCookies";
}

template <class Fields>
void describe(ForgetCookies&, Fields&) {
}

constexpr const char* nameOf(const OpenPage&) {
    return "open";
}

template <class Fields>
void describe(OpenPage& message, Fields& field) {
    field("visit", message.visit);
    field("url", message.url);
    field.bytes("folder", message.folder);
}

constexpr const char* nameOf(const ClosePage&) {
    return "close";
}

template <class Fields>
void describe(ClosePage& message, Fields& field) {
    field("visit", message.visit);
}

constexpr const char* nameOf(const CancelDownload&) {
    return "cancel";
}

template <class Fields>
void describe(CancelDownload& message, Fields& field) {
    field("download", message.download);
}

constexpr const char* nameOf(const GiveCredentials&) {
    return "credentials";
}

template <class Fields>
void describe(GiveCredentials& message, Fields& field) {
    field("question", message.question);
    field("given", message.given);
    field("user", message.user);
    field("password", message.password);
}

constexpr const char* nameOf(const BrowserHello&) {
    return "hello";
}

template <class Fields>
void describe(BrowserHello& message, Fields& field) {
    field("protocol", message.protocol);
}

constexpr const char* nameOf(const BrowserUnavailable&) {
    return "unavailable";
}

template <class Fields>
void describe(BrowserUnavailable& message, Fields& field) {
    field("reason", message.reason);
}

constexpr const char* nameOf(const CookieAdded&) {
    return "cookieAdded";
}

template <class Fields>
void describe(CookieAdded& message, Fields& field) {
    describe(message.cookie, field);
}

constexpr const char* nameOf(const CookieRemoved&) {
    return "cookieRemoved";
}

template <class Fields>
void describe(CookieRemoved& message, Fields& field) {
    describe(message.cookie, field);
}

constexpr const char* nameOf(const DownloadBegan&) {
    return "download";
}

template <class Fields>
void describe(DownloadBegan& message, Fields& field) {
    field("download", message.download);
    field("visit", message.visit);
    field("url", message.url);
    field("page", message.page);
    field("method", message.method);
    field("name", message.name);
    field("mimeType", message.mimeType);
    field.bytes("folder", message.folder);
    field("size", message.size);
}

constexpr const char* nameOf(const DownloadProgress&) {
    return "progress";
}

template <class Fields>
void describe(DownloadProgress& message, Fields& field) {
    field("download", message.download);
    field("received", message.received);
    field("size", message.size);
}

constexpr const char* nameOf(const DownloadEnded&) {
    return "ended";
}

template <class Fields>
void describe(DownloadEnded& message, Fields& field) {
    field("download", message.download);
    field("complete", message.complete);
    field("received", message.received);
    field("reason", message.reason);
}

constexpr const char* nameOf(const VisitEnded&) {
    return "visitEnded";
}

template <class Fields>
void describe(VisitEnded& message, Fields& field) {
    field("visit", message.visit);
    field("movedOut", message.movedOut);
}

constexpr const char* nameOf(const AskCredentials&) {
    return "authenticate";
}

template <class Fields>
void describe(AskCredentials& message, Fields& field) {
    field("question", message.question);
    field("url", message.url);
    field("again", message.again);
}

} // namespace tarvo
