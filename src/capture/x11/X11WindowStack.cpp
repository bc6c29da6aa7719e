#include "X11WindowStack.h"

#include "VXChecks.h"
#include "X11Errors.h"
#include "X11Reply.h"

namespace {

// Deeper than any window manager nests a client; a longer chain is a loop of ids reused
// while we walked it.
constexpr int kMaxNesting = 64;

}  // namespace

VXResult X11WindowStack::refresh(X11Connection& connection, uint32_t& firstSequence) {
    xcb_connection_t* c = connection.get();
    xcb_generic_error_t* rawError = nullptr;
    const xcb_query_tree_cookie_t treeCookie = xcb_query_tree(c, connection.root());
    firstSequence = treeCookie.sequence;
    X11Reply<xcb_query_tree_reply_t> tree(xcb_query_tree_reply(c, treeCookie, &rawError));
    if (rawError != nullptr)
        return VX_X11_ERROR(u"QueryTree", *X11Reply<xcb_generic_error_t>(rawError));
    if (tree == nullptr)
        return connection.checkAlive(VX_SITE);

    const xcb_window_t* children = xcb_query_tree_children(tree.get());
    const int count = xcb_query_tree_children_length(tree.get());
    std::vector<xcb_get_window_attributes_cookie_t> attributes(count);
    std::vector<xcb_get_geometry_cookie_t> geometries(count);
    for (int i = 0; i < count; ++i) {
        attributes[i] = xcb_get_window_attributes(c, children[i]);
        geometries[i] = xcb_get_geometry(c, children[i]);
    }
    _viewable.clear();
    _children.clear();
    VXResult first;
    for (int i = 0; i < count; ++i) {
        _children.insert(children[i]);
        X11Reply<xcb_get_window_attributes_reply_t> attribute(
            xcb_get_window_attributes_reply(c, attributes[i], &rawError));
        X11Reply<xcb_generic_error_t> attributeError(rawError);
        rawError = nullptr;
        X11Reply<xcb_get_geometry_reply_t> geometry(xcb_get_geometry_reply(c, geometries[i], &rawError));
        X11Reply<xcb_generic_error_t> geometryError(rawError);
        rawError = nullptr;
        // A window destroyed since the tree was read is simply no longer there.
        if (attributeError != nullptr && !X11Errors::isVanishedWindow(*attributeError) && first.isSuccess())
            first = VX_X11_ERROR(u"GetWindowAttributes", *attributeError);
        if (geometryError != nullptr && !X11Errors::isVanishedWindow(*geometryError) && first.isSuccess())
            first = VX_X11_ERROR(u"GetGeometry", *geometryError);
        if (attribute == nullptr || geometry == nullptr)
            continue;
        if (attribute->map_state != XCB_MAP_STATE_VIEWABLE ||
            attribute->_class != XCB_WINDOW_CLASS_INPUT_OUTPUT)
            continue;
        X11TopWindow window;
        window.id = children[i];
        window.border = geometry->border_width;
        const int32_t width = geometry->width + 2 * geometry->border_width;
        const int32_t height = geometry->height + 2 * geometry->border_width;
        window.outer = VXRect(geometry->x, geometry->y, geometry->x + width, geometry->y + height);
        if (!connection.formatOfVisual(attribute->visual, window.format, window.hasAlpha))
            continue;  // a visual Render cannot read (colour-mapped): nothing we can compose
        _viewable.push_back(window);
    }
    VX_RETURN_IF_ERROR(connection.checkAlive(VX_SITE));
    return first;
}

VXResult X11WindowStack::topLevelOf(X11Connection& connection, xcb_window_t window,
                                    xcb_window_t& topLevel) const {
    xcb_connection_t* c = connection.get();
    topLevel = 0;
    for (int depth = 0; depth < kMaxNesting && window != 0 && window != connection.root(); ++depth) {
        if (_children.count(window) != 0) {
            topLevel = window;
            return VXError::eNoError;
        }
        xcb_generic_error_t* rawError = nullptr;
        X11Reply<xcb_query_tree_reply_t> tree(xcb_query_tree_reply(c, xcb_query_tree(c, window), &rawError));
        X11Reply<xcb_generic_error_t> error(rawError);
        if (error != nullptr) {
            if (X11Errors::isVanishedWindow(*error))
                return VXError::eNoError;  // names no window: ignored, as on every platform
            return VX_X11_ERROR(u"QueryTree", *error);
        }
        if (tree == nullptr)
            return connection.checkAlive(VX_SITE);
        if (tree->parent == connection.root()) {
            topLevel = window;
            return VXError::eNoError;
        }
        window = tree->parent;
    }
    return VXError::eNoError;
}
