# Importer base, field handlers with their note scanner, and the generic
# delimited-text importer with its four dialects.
varo_component(vro_import
  SOURCES import/importer.cpp import/note_scanner.cpp import/field_handlers.cpp
          import/csv_importer.cpp import/csv_dialects.cpp
  DEPS vro_text_reader vro_metrics vro_strings vro_ascii vro_sorted_tables vro_results)
