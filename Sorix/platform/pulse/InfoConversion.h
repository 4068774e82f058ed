#pragma once

#include <pulse/pulseaudio.h>

#include "ServerObjects.h"

// libpulse's descriptions of the server's objects, as the mirror keeps them.
namespace sorix::pulse {

Sink sinkFrom(const pa_sink_info& info);
Client clientFrom(const pa_client_info& info);
SinkInput sinkInputFrom(const pa_sink_input_info& info);
Card cardFrom(const pa_card_info& info);
ServerInfo serverInfoFrom(const pa_server_info& info);

}  // namespace sorix::pulse
