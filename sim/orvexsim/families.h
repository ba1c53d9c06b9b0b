// SPDX-License-Identifier: MIT
// The command families of the simulated reader (internal to the simulator).
#pragma once

#include <memory>

#include "orvexsim/simulator.h"

namespace orvexsim {

std::unique_ptr<Family> MakeReaderManagement(Context& ctx);
std::unique_ptr<Family> MakeTypeA(Context& ctx);
std::unique_ptr<Family> MakeTransparent(Context& ctx);
std::unique_ptr<Family> MakeVicinity(Context& ctx);
std::unique_ptr<Family> MakeSleSlot(Context& ctx);
std::unique_ptr<Family> MakeTypeB(Context& ctx);
std::unique_ptr<Family> MakeFelica(Context& ctx);
std::unique_ptr<Family> MakeMifarePlus(Context& ctx);
std::unique_ptr<Family> MakeSamSlots(Context& ctx);
std::unique_ptr<Family> MakeCardApplication(Context& ctx);
std::unique_ptr<Family> MakeDisplayCommands(Context& ctx, std::shared_ptr<Display> lcd);

}  // namespace orvexsim
