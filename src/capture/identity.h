#pragma once

#include <cstdint>
#include <string>

#include "platform/code_signing.h"
#include "platform/workspace.h"

namespace brindlemar::capture {

// The signed program a process runs, from its code signature:
//   "<namespace>:<team>:<identifier>"  signed by a registered developer,
//   "<namespace>:apple:<identifier>"   signed by the platform vendor,
//   "<namespace>:adhoc:<hex hash>"     ad-hoc signed,
// or "" when none of them can be established. Each call runs several signing checks, so callers
// that need it for many windows compute it once per pid.
std::string applicationIdentity(platform::CodeSigning& signing, std::int32_t pid);

// The process's launch time in seconds since 1970 ("1700000000.0"), which tells apart two
// processes that had the same pid; "" when it is not a running application or has no launch date.
std::string processIdentity(platform::Workspace& workspace, std::int32_t pid);

}  // namespace brindlemar::capture
