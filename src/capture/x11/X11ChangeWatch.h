// Tells whether the screen changed inside the capture area while a capture was being taken:
// Damage on the windows being read (and on the root when the root itself is read), and the
// root's structure events (windows mapped, unmapped, moved, restacked, destroyed). Owns its
// damage objects; one thread.
#pragma once

#include <xcb/damage.h>
#include <xcb/xcb.h>

#include <unordered_map>
#include <vector>

#include "VXRect.h"
#include "VXResult.h"
#include "X11Connection.h"
#include "X11RequestBatch.h"
#include "X11WindowStack.h"

class X11ChangeWatch {
public:
    // What the events read so far say has changed, beyond the pixels: kept until cleared.
    struct Changes {
        bool stack = true;       // windows made, mapped, moved, restacked, unmapped or destroyed
        bool background = true;  // a background setter changed the root's properties
        bool compositor = true;  // the compositing manager's selection changed hands
    };

    // Asks for the root's structure and property events and for the compositing manager's
    // selection changes, and makes the root's damage object.
    VXResult start(X11Connection& connection);
    Changes& changes() { return _changes; }
    // Before a composition: damage objects for `windows` (made for new ones, dropped for those
    // gone), each emptied, so that damage from now on is reported.
    void arm(X11Connection& connection, const std::vector<X11TopWindow>& windows, X11RequestBatch& batch);
    // Reads the events that have come and says whether one of them, generated after request
    // `sinceSequence` was handled, changed what a capture of `area` reads: damage inside the
    // area to one of the windows `read` (or to the root when rootRead), or a change in the
    // stacking, mapping or geometry of a window that was (among `all`) or is inside the area.
    // Events about `ignored` (our own window) never count. changedBefore: such a change came
    // before sinceSequence, since the events were last read.
    bool changedSince(X11Connection& connection, uint32_t sinceSequence, const VXRect& area,
                      const std::vector<X11TopWindow>& read, const std::vector<X11TopWindow>& all,
                      bool rootRead, xcb_window_t ignored, bool& changedBefore);
    // Waits until no damage to the armed windows has come for quietMs, at most maxMs: the
    // clients redrawing what a new redirection exposed in their pixmaps. quiet: it came.
    VXResult waitForQuiet(X11Connection& connection, uint32_t quietMs, uint32_t maxMs, bool& quiet);
    void release(X11Connection& connection);

private:
    bool damageCounts_(const xcb_damage_notify_event_t& event, const VXRect& area,
                       const std::vector<X11TopWindow>& windows, bool rootRead, xcb_window_t root) const;
    static bool structureCounts_(const xcb_generic_event_t& event, const VXRect& area,
                                 const std::vector<X11TopWindow>& windows, xcb_window_t ignored);

    void noteChanges_(const X11Connection& connection, const xcb_generic_event_t& event);

    Changes _changes;
    xcb_damage_damage_t _rootDamage = 0;
    // Window -> its damage object; `seen` marks those still listed in the current arm.
    struct Watched {
        xcb_damage_damage_t damage = 0;
        bool seen = false;
    };
    std::unordered_map<xcb_window_t, Watched> _watched;
};
