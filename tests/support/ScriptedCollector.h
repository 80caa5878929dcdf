#pragma once

#include <string>
#include <vector>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/GraphCRCData.h"
#include "contracts/Proc/IGraphDataCRCCollector.h"

namespace Tarsel::Test {

/// Notes what it is given as a line each, and fails when told to. For one thread.
class ScriptedCollector final : public Proc::IGraphDataCRCCollector, public RefCounted {
  public:
    bool refuses = false;
    /// "node digest time".
    std::vector<std::string> lines;

    void AddPacketCRCInfo(int64 graphNodeId, std::string const& crc, int64 timeStamp) override {
        if (refuses) TARSEL_THROW(Proc::ProcException, "no more");
        lines.push_back(std::to_string(graphNodeId) + " " + crc + " " + std::to_string(timeStamp));
    }
    Proc::GraphCRCData const& GetGraphCRCData() const override { return data; }

  private:
    Proc::GraphCRCData const data{};
};

}  // namespace Tarsel::Test
