#pragma once
// The fixed English sections of the support matrix, printed as they stand. The document is
// English-only: it is the published statement of what Kelvor supports, and it is diffed between
// releases, so these texts are not translated.
#include <string_view>

namespace kelvor::support_matrix_text {

inline constexpr std::string_view TITLE = "# Kelvor — support matrix";

inline constexpr std::string_view GENERATED = "**Generated from the code. Do not edit by hand.**";

inline constexpr std::string_view TIERS_HEADING = "## Tiers";

inline constexpr std::string_view TIERS_INTRO =
    "Every rule carries one of four ledger tiers. The screens fold them into three labels: what comes "
    "back by itself, what only you can judge, and what is never touched.";

inline constexpr std::string_view TIERS_TABLE_HEADER = "| ledger tier | shown as |\n|---|---|";

inline constexpr std::string_view ONE_CLICK_HEADING = "## One-click";

inline constexpr std::string_view ONE_CLICK =
    "A rule is **one-click** exactly when it is verified, its tier is A or B and its burden is "
    "`transparent`: removing it costs nothing but the bytes, and the owning tool brings the content "
    "back without being asked. Only one-click rules may be considered by Optimize or by a connected "
    "assistant without a deliberate click. Every other rule waits for a deliberate click, and "
    "unverified rules stay locked: they reach a command-line plan only with `--include-unverified`, "
    "and then go to quarantine rather than the Trash unless `--force` is also given.";

inline constexpr std::string_view RULES_HEADING = "## Catalog rules";

inline constexpr std::string_view RULES_INTRO =
    "One row per rule, sorted by owner and then by path. Paths are the defaults on this platform; "
    "\"relocatable via\" lists the variables that move a store, in the order they are consulted "
    "(the rule's own variable, then its base's, then `XDG_CACHE_HOME`). Values set only in the "
    "login shell count too.";

inline constexpr std::string_view LINUX_HEADING = "## Linux stores";

inline constexpr std::string_view LINUX_INTRO =
    "On Linux these rows are used beside the catalog rules, for the places Linux tools keep their "
    "data. Paths follow the XDG base directories where the tool does (`XDG_CACHE_HOME`, "
    "`XDG_CONFIG_HOME`, `XDG_DATA_HOME`, `XDG_STATE_HOME`). Where a tool keeps using an older folder "
    "while it exists, both rows are listed and the one the tool uses counts. Stores that only their "
    "own tool may clear are protected and name that tool's command.";

inline constexpr std::string_view BUILD_FOLDERS_HEADING = "## Project build folders";

inline constexpr std::string_view BUILD_FOLDERS_INTRO =
    "Build folders inside projects are found by one walk of the home folder. A folder counts only "
    "when the file that proves its project's kind sits beside it (or inside it, where noted); never "
    "inside a version-control folder, a hidden folder of the home or another build folder, never when "
    "it holds the project's own sources, and never when anything in it was written in the last two "
    "hours.";

inline constexpr std::string_view BUILD_FOLDERS_TABLE_HEADER = "| folder | proven by | tier |\n|---|---|---|";

inline constexpr std::string_view RULES_TABLE_HEADER =
    "| component | path | tier | verified | burden | one-click | relocatable via |\n"
    "|---|---|---|---|---|---|---|";

inline constexpr std::string_view EVIDENCE_GROUPS = R"(## Groups found by evidence

Some of what Kelvor reports is not a tool's store but your own files, found by what they are rather
than where a tool put them. These groups are always "In your hands": nothing in them is one-click,
and each item is shown with the evidence that put it there.

- **Old & Unused**: large files not opened for a long time (`--age-days`, 30 by default).
- **Duplicates**: files whose content was proven identical by a full digest, not by name or size.
- **Downloads**: what sits in the Downloads folder, with installers and archives already unpacked
  marked as such.
- **Screenshots**: screen captures found by the system's own naming and metadata.
- **iOS**: device backups and software updates kept for phones and tablets.
- **Build artifacts**: build output folders that sit next to a project's own build file.
- **Image sequences**, **Similar media**, **Photos & videos**: media found by content.)";

inline constexpr std::string_view UNINSTALLERS = R"(## Uninstallers

Applications are removed together with what they leave behind only when the leftovers can be tied
to the application's bundle identifier. Package managers are asked to remove what they installed
(pip, npm, conda, Homebrew, Docker, simulator runtimes, installer receipts) rather than having
their folders deleted under them, so their own records stay consistent.)";

inline constexpr std::string_view IRREVERSIBLE = R"(## Irreversible surfaces

Every clean can be undone: verified items go to the Trash, everything else to the quarantine
folder with a ledger, and an undo record is written before anything moves. A few actions are
outside that promise and say so before they run:

- Emptying the Trash, or items expiring from quarantine after their holding period.
- Removal that a package manager or a virtual-machine tool performs itself (its own uninstall or
  prune command): Kelvor keeps the record, but the content is that tool's to bring back.
- Clone-merging duplicate files: the space comes back at once, and the files stay readable, but
  the separate copies are not restored.
- `--remove-root`, the privileged helper's entry, which deletes administrator-owned items that are
  already in a Trash.)";

inline constexpr std::string_view NOT_SUPPORTED = R"(## Deliberately not supported

- System folders, other users' homes and anything outside the home folder.
- Mail, Messages, Photos libraries and other stores an application keeps in its own database:
  only the application can change them safely.
- Settings, credentials, keys, licenses and unsaved work: these are listed as protected and are
  never offered.
- Guessing: a folder that no rule accounts for is reported as unclaimed space, never removed.
- Browser profiles as a whole: only their documented caches are rules.)";

}  // namespace kelvor::support_matrix_text
