-- The script store: every named script of the system by its exact name.
-- Placeholders (:name) are found by splitting the text on blanks, commas and
-- parentheses, so a placeholder is always followed by one of those (or by a
-- blank before a closing semicolon), and casts are written CAST(:x AS type).

