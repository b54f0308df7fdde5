#include "platform/sim/sim_services.h"

namespace brindlemar::platform::sim {
namespace {

std::vector<std::uint8_t> bytesOfHex(const std::string& hex) {
    std::vector<std::uint8_t> bytes;
    for (std::size_t i = 0; i + 1 < hex.size(); i += 2) {
        bytes.push_back(static_cast<std::uint8_t>(std::stoul(hex.substr(i, 2), nullptr, 16)));
    }
    return bytes;
}

// The code object of a scene application, answering from a copy of its signature.
class SimRunningCode final : public RunningCode {
  public:
    explicit SimRunningCode(SceneSignature signature) : signature_(std::move(signature)) {}

    bool isValid() override { return signature_.valid; }
    bool hasStaticCode() override { return signature_.staticCode; }
    std::optional<SigningInformation> signingInformation() override {
        if (!signature_.info) return std::nullopt;
        SigningInformation info{signature_.identifier, signature_.team, std::nullopt};
        if (signature_.cdhash) info.uniqueHash = bytesOfHex(*signature_.cdhash);
        return info;
    }
    bool satisfiesVendorAnchor() override { return signature_.apple; }

  private:
    SceneSignature signature_;
};

}  // namespace

std::unique_ptr<RunningCode> SimCodeSigning::codeForProcess(std::int32_t pid) {
    auto signature = store_.read([&](const Scene& scene) -> std::optional<SceneSignature> {
        const SceneApp* app = scene.findApp(pid);
        return app ? app->signature : std::nullopt;
    });
    if (!signature) return nullptr;
    return std::make_unique<SimRunningCode>(std::move(*signature));
}

}  // namespace brindlemar::platform::sim
