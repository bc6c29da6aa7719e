#include "X11WindowTitles.h"

#include <iterator>
#include <string>
#include <string_view>

#include "VXChecks.h"
#include "X11Errors.h"
#include "X11Reply.h"

namespace {

// Frames of window managers nest clients one or two levels down; deeper means no client.
constexpr int kMaxClientDepth = 6;
// Titles longer than this many bytes are compared by their start only.
constexpr uint32_t kTitleWords = 1024;

struct Atoms {
    xcb_atom_t wmState = XCB_ATOM_NONE;
    xcb_atom_t netWmName = XCB_ATOM_NONE;
    xcb_atom_t utf8String = XCB_ATOM_NONE;
};

VXResult internAtoms(xcb_connection_t* c, Atoms& atoms) {
    const struct {
        const char* name;
        xcb_atom_t* atom;
    } wanted[] = {
        {"WM_STATE", &atoms.wmState}, {"_NET_WM_NAME", &atoms.netWmName}, {"UTF8_STRING", &atoms.utf8String}};
    xcb_intern_atom_cookie_t cookies[std::size(wanted)];
    for (size_t i = 0; i < std::size(wanted); ++i)
        cookies[i] = xcb_intern_atom(c, 0, static_cast<uint16_t>(std::string_view(wanted[i].name).size()),
                                     wanted[i].name);
    VXResult result = VXError::eNoError;
    for (size_t i = 0; i < std::size(wanted); ++i) {
        xcb_generic_error_t* rawError = nullptr;
        X11Reply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(c, cookies[i], &rawError));
        X11Reply<xcb_generic_error_t> error(rawError);
        if (error && result.isSuccess())
            result = VX_X11_ERROR(u"xcb_intern_atom", *error);
        else if (!reply && result.isSuccess())
            result = X11Errors::connectionLost(xcb_connection_has_error(c), VX_SITE);
        else if (reply)
            *wanted[i].atom = reply->atom;
    }
    return result;
}

// The reply of a request on a window that may have vanished: null with success then.
template <typename Reply>
VXResult takeReply(xcb_connection_t* c, Reply* raw, xcb_generic_error_t* rawError, const char16_t* method,
                   X11Reply<Reply>& reply) {
    reply.reset(raw);
    X11Reply<xcb_generic_error_t> error(rawError);
    if (error)
        return X11Errors::isVanishedWindow(*error) ? VXResult(VXError::eNoError)
                                                   : VX_X11_ERROR(method, *error);
    if (!reply)
        return X11Errors::connectionLost(xcb_connection_has_error(c), VX_SITE);
    return VXError::eNoError;
}

VXResult children(xcb_connection_t* c, xcb_window_t window, std::vector<xcb_window_t>& out) {
    xcb_generic_error_t* error = nullptr;
    xcb_query_tree_reply_t* raw = xcb_query_tree_reply(c, xcb_query_tree(c, window), &error);
    X11Reply<xcb_query_tree_reply_t> tree;
    VX_RETURN_IF_ERROR(takeReply(c, raw, error, u"xcb_query_tree", tree));
    if (tree) {
        const xcb_window_t* list = xcb_query_tree_children(tree.get());
        out.insert(out.end(), list, list + xcb_query_tree_children_length(tree.get()));
    }
    return VXError::eNoError;
}

VXString latin1(std::string_view bytes) {
    VXString text;
    for (const char ch : bytes)
        text += static_cast<char16_t>(static_cast<unsigned char>(ch));
    return text;
}

VXResult findClient(xcb_connection_t* c, xcb_atom_t wmState, xcb_window_t topLevel, xcb_window_t& client) {
    client = topLevel;
    std::vector<xcb_window_t> level{topLevel};
    for (int depth = 0; depth < kMaxClientDepth && !level.empty(); ++depth) {
        // One round trip for the whole level.
        std::vector<xcb_get_property_cookie_t> cookies;
        for (const xcb_window_t w : level)
            cookies.push_back(xcb_get_property(c, 0, w, wmState, XCB_GET_PROPERTY_TYPE_ANY, 0, 0));
        VXResult result = VXError::eNoError;
        xcb_window_t found = XCB_WINDOW_NONE;
        for (size_t i = 0; i < level.size(); ++i) {
            xcb_generic_error_t* error = nullptr;
            xcb_get_property_reply_t* raw = xcb_get_property_reply(c, cookies[i], &error);
            X11Reply<xcb_get_property_reply_t> property;
            const VXResult taken = takeReply(c, raw, error, u"xcb_get_property", property);
            if (taken.isError() && result.isSuccess())
                result = taken;
            if (property && property->type != XCB_ATOM_NONE && found == XCB_WINDOW_NONE)
                found = level[i];
        }
        VX_RETURN_IF_ERROR(result);
        if (found != XCB_WINDOW_NONE) {
            client = found;
            return VXError::eNoError;
        }
        std::vector<xcb_window_t> next;
        for (const xcb_window_t w : level)
            VX_RETURN_IF_ERROR(children(c, w, next));
        level = std::move(next);
    }
    return VXError::eNoError;
}

VXResult titleWithAtoms(xcb_connection_t* c, const Atoms& atoms, xcb_window_t window, VXString& title) {
    title = VXString();
    const xcb_get_property_cookie_t netName =
        xcb_get_property(c, 0, window, atoms.netWmName, atoms.utf8String, 0, kTitleWords);
    const xcb_get_property_cookie_t wmName =
        xcb_get_property(c, 0, window, XCB_ATOM_WM_NAME, XCB_GET_PROPERTY_TYPE_ANY, 0, kTitleWords);
    X11Reply<xcb_get_property_reply_t> replies[2];
    const xcb_get_property_cookie_t cookies[2] = {netName, wmName};
    VXResult result = VXError::eNoError;
    for (int i = 0; i < 2; ++i) {
        xcb_generic_error_t* error = nullptr;
        xcb_get_property_reply_t* raw = xcb_get_property_reply(c, cookies[i], &error);
        const VXResult taken = takeReply(c, raw, error, u"xcb_get_property", replies[i]);
        if (taken.isError() && result.isSuccess())
            result = taken;
    }
    VX_RETURN_IF_ERROR(result);
    for (int i = 0; i < 2; ++i) {
        const xcb_get_property_reply_t* property = replies[i].get();
        if (property == nullptr || property->format != 8 || property->type == XCB_ATOM_NONE)
            continue;
        const std::string_view bytes(static_cast<const char*>(xcb_get_property_value(property)),
                                     static_cast<size_t>(xcb_get_property_value_length(property)));
        if (i == 0 && bytes.empty())
            continue;  // an empty _NET_WM_NAME leaves WM_NAME to say
        title = property->type == atoms.utf8String ? VXString::fromUtf8(bytes) : latin1(bytes);
        return VXError::eNoError;
    }
    return VXError::eNoError;
}

}  // namespace

VXResult X11WindowTitles::find(xcb_connection_t* connection, xcb_window_t root, const VXString& title,
                               std::vector<uint64_t>& windows) {
    VX_CHECK_PARAM(connection);
    Atoms atoms;
    VX_RETURN_IF_ERROR(internAtoms(connection, atoms));
    std::vector<xcb_window_t> topLevels;
    VX_RETURN_IF_ERROR(children(connection, root, topLevels));
    for (const xcb_window_t topLevel : topLevels) {
        xcb_window_t client = topLevel;
        VX_RETURN_IF_ERROR(findClient(connection, atoms.wmState, topLevel, client));
        VXString text;
        VX_RETURN_IF_ERROR(titleWithAtoms(connection, atoms, client, text));
        if (!text.isEmpty() && text == title)
            windows.push_back(client);
    }
    return VXError::eNoError;
}
