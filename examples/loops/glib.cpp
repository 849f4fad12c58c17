// A session in GLib's main loop.

#include <glib-unix.h>

#include "head_unit.h"

static gboolean dispatch(gint, GIOCondition, gpointer session) {
    static_cast<zrmirvo::Session*>(session)->dispatch();
    return G_SOURCE_CONTINUE;
}

int main() {
    GMainLoop* loop = g_main_loop_new(nullptr, FALSE);
    {
        zrmirvo::Session session(ZRMIRVO_VERSION_TEXT);
        headUnit(session, [&] { g_main_loop_quit(loop); });

        const guint source = g_unix_fd_add(session.fd(), G_IO_IN, dispatch, &session);
        g_main_loop_run(loop);
        g_source_remove(source);
    }
    g_main_loop_unref(loop);
}
