#pragma once
// The help text, printed exactly as it stands and never translated.
#include <string_view>

namespace kelvor {

inline constexpr std::string_view HELP_TEXT =
    "Kelvor — evidence-based disk cleaner\n"
    "\n"
    "  kelvor --mode gui                          the app\n"
    "  kelvor --mode clean                        show the deletion plan (nothing moves)\n"
    "  kelvor --mode clean --apply --yes          apply it: verified items → Trash\n"
    "  kelvor --mode clean --undo [last|<path>]   restore a previous clean\n"
    "  kelvor --mode mcp-install [--dry-run]      connect every AI assistant on this Mac\n"
    "  kelvor --mode quarantine                   quarantine ledger report\n"
    "  kelvor --mode quarantine --undo last       restore from quarantine\n"
    "  kelvor --mode detect                       AI/dev tool detection report\n"
    "  kelvor --mode audit                        re-run provers against live stores\n"
    "  kelvor --mode dupes [--min-mb N]           duplicate finder (--apply, --dedupe)\n"
    "  kelvor --mode similar                      similar photos and clips (report only)\n"
    "  kelvor --mode unclaimed [--min-mb N]       space no rule accounts for\n"
    "  kelvor --mode forget [--apply]             clear what Kelvor keeps about itself\n"
    "  kelvor --mode exclude [--path <dir>]       never offer a path again (--force removes)\n"
    "\n"
    "  Options for clean: --tier A|B|AB · --owner <name> · --include-unverified\n"
    "                     --force (with --include-unverified: Trash instead of quarantine)\n"
    "  General:           --root <dir> · --threads N · --lang en|kr\n"
    "\n"
    "--apply without --yes prints the plan and moves NOTHING.\n";

}  // namespace kelvor
