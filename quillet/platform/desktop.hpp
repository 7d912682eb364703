#pragma once
// Which desktop this build serves, for the sentences that name its parts ("this Mac", the Finder).
namespace kelvor {

enum class Desktop { mac, linuxDesktop };

// The desktop of the system this build was made for; fixed per build.
Desktop thisDesktop();

}  // namespace kelvor
