// The private controller in which the daemon's code is fuzzed. Tools are started for real, up to the exec; files are opened
// for real, or hold something odd instead; and what breaks one of the daemon's promises ends the run.
#pragma once

#include <q7net/protocol.h>

#include <cstdint>
#include <string>

namespace world
{

// Begins and ends a run.
//   luck     decides how tools end, what files hold and what fails; 0: all goes well
//   request  whose texts must keep to their fields: those without a NUL are marked; null: there are none
void begin(uint32_t luck, RequestFrame *request);
void end();
unsigned choose(unsigned outcomes); // picks one of so many, 0 being the good one

[[noreturn]] void broken(const std::string &how); // reports a broken promise

} // namespace world
