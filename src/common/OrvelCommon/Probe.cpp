// SPDX-License-Identifier: MIT
#include "OrvelCommon/Probe.h"

#include "OrvelCommon/DeviceInfo.h"
#include "OrvelCommon/Testing.h"

#include <memory>
#include <mutex>

namespace Orvel::Common {

namespace {

using Probe = std::function<Detail::DiskSpace(const std::string&)>;

struct ProbeState
{
    // Recursive, so that a probe may ask again or replace itself.
    std::recursive_mutex mutex;
    std::shared_ptr<const Probe> probe;
};

ProbeState& probeState()
{
    // Never destroyed: threads may still ask while the process exits.
    static auto& state = *new ProbeState;
    return state;
}

} // namespace

namespace Detail {

std::optional<DiskSpace> AskDiskSpaceProbe(const std::string& path)
{
    ProbeState& state = probeState();
    const std::lock_guard lock(state.mutex);
    const std::shared_ptr<const Probe> probe = state.probe;
    if (!probe)
        return std::nullopt;
    return (*probe)(path);
}

} // namespace Detail

void SetDiskSpaceProbe(Probe probe)
{
    ProbeState& state = probeState();
    const std::lock_guard lock(state.mutex);
    state.probe = probe ? std::make_shared<const Probe>(std::move(probe)) : nullptr;
}

std::pair<std::uint64_t, std::uint64_t> DeviceInfo::GetDiskSpaceInfo(const std::string& path)
{
    if (const auto answer = Detail::AskDiskSpaceProbe(path))
        return *answer;
    return Detail::ReadDiskSpace(path);
}

} // namespace Orvel::Common
