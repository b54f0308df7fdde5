#pragma once

#include <fstream>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "platform/sim/sim_backend.h"
#include "support/helper_process.h"
#include "support/sim_control.h"

namespace brindlemar::testing {

// A simulated desktop inside the test process, made from a scene, with a control socket and a
// journal in a private directory.
class SimDesktopFixture {
  public:
    explicit SimDesktopFixture(const std::string& sceneJson) {
        std::ofstream(dir_.file("scene.json")) << sceneJson;
        auto made = platform::sim::createSimDesktop(
            {dir_.file("scene.json"), dir_.file("control.sock"), dir_.file("journal.jsonl")});
        if (!made) throw std::runtime_error(made.error().message);
        desktop_ = std::move(*made);
        control_ = std::make_unique<SimControl>(dir_.file("control.sock"));
    }

    platform::Desktop& desktop() { return *desktop_; }
    SimControl& control() { return *control_; }
    std::string journalPath() const { return dir_.file("journal.jsonl"); }

  private:
    TempDir dir_;
    std::unique_ptr<platform::Desktop> desktop_;
    std::unique_ptr<SimControl> control_;
};

}  // namespace brindlemar::testing
