// SPDX-License-Identifier: BSD-2-Clause
#include "element.h"
#include "quorvel/version.h"

#define PACKAGE "quorvel-stabilizer" // the next macro reads it

static gboolean plugin_init(GstPlugin *plugin) {
    return GST_ELEMENT_REGISTER(quorvelstabilize, plugin);
}

GST_PLUGIN_DEFINE(GST_VERSION_MAJOR, GST_VERSION_MINOR, quorvel, "Video stabilization", plugin_init,
                  QUORVEL_VERSION, "BSD", "Quorvel stabilizer", "https://quorvel.example")
