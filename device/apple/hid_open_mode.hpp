// hid_open_mode: whether a hid_stream takes its device for itself (seized) or shares it with other programs.
#pragma once

namespace plinth::apple {

// How a hid_stream opens its device.
enum class hid_open_mode
{
    // kIOHIDOptionsTypeSeizeDevice: this stream alone receives the device's input
    // reports; the others that have it open (other programs, other streams, the
    // system's own keyboard and mouse handling) hear nothing until it closes. A
    // device that someone else has seized already cannot be seized.
    seized,
    // kIOHIDOptionsTypeNone: every client that has the device open receives every
    // input report; a later seize by someone else silences this stream (it stays
    // open and its reads wait) until that one closes.
    shared,
};

} // namespace plinth::apple
