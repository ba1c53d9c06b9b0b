// The command families of the simulated reader (internal to the simulator).
#pragma once

#include <memory>

#include "orvexsim/simulator.h"

namespace orvexsim {

std::unique_ptr<Family> MakeReaderManagement(Context& ctx);
std::unique_ptr<Family> MakeTypeA(Context& ctx);
std::unique_ptr<Family> MakeTransparent(Context& ctx);
std::unique_ptr<Family> MakeDisplayCommands(Context& ctx, std::shared_ptr<Display> lcd);

}  // namespace orvexsim
