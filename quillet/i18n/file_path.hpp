#pragma once
// Where the registry's files are, spelled by the preprocessor, so that the one subsystem list
// (subsystems.def) names the sentence files and every language's table files alike.

#define KELVOR_QUOTED_(path) #path
#define KELVOR_QUOTED(path) KELVOR_QUOTED_(path)

// "quillet/i18n/sentences/<subsystem>.def"
#define KELVOR_SENTENCE_FILE(subsystem) KELVOR_QUOTED(quillet/i18n/sentences/subsystem.def)
// "quillet/i18n/tables/<language>/<subsystem>.inc"
#define KELVOR_TABLE_FILE(language, subsystem) KELVOR_QUOTED(quillet/i18n/tables/language/subsystem.inc)
