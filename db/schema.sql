-- Schema of the defect register database (PostgreSQL 15).
-- Part of the creation script that the driver's getStart returns:
-- schema.sql, then scripts.sql (the script store), then init.sql.

CREATE EXTENSION IF NOT EXISTS pgcrypto;

CREATE SCHEMA IF NOT EXISTS sys;
CREATE SCHEMA IF NOT EXISTS docs;
CREATE SCHEMA IF NOT EXISTS qms;
CREATE SCHEMA IF NOT EXISTS prod;
CREATE SCHEMA IF NOT EXISTS dirs;
CREATE SCHEMA IF NOT EXISTS inv;
CREATE SCHEMA IF NOT EXISTS jur;
CREATE SCHEMA IF NOT EXISTS lrg;
CREATE SCHEMA IF NOT EXISTS task;

-- ---------------------------------------------------------------- sys -----

-- Named SQL scripts; the driver's getScript reads them by name.
CREATE TABLE sys.t_script (
  id            bigserial PRIMARY KEY,
  c_name        text NOT NULL UNIQUE,
  c_text        text NOT NULL,
  c_description text
);

-- Users of the system. Passwords are stored only as salted hashes (crypt()).
-- The built-in administrator has the empty login; his id is the system
-- attribute "superAdminId".
CREATE TABLE sys.t_user (
  id         bigserial PRIMARY KEY,
  c_login    text NOT NULL UNIQUE,
  c_name     text NOT NULL,
  c_password text,
  c_phone    text,
  c_email    text,
  b_active   boolean NOT NULL DEFAULT true
);

-- Rights a user may hold, asked for by their system name (canDo).
CREATE TABLE sys.t_access_right (
  id         bigserial PRIMARY KEY,
  c_sys_name text NOT NULL UNIQUE,
  c_name     text NOT NULL
);

CREATE TABLE sys.tl_user_access_right (
  id              bigserial PRIMARY KEY,
  id_user         bigint NOT NULL REFERENCES sys.t_user (id) ON DELETE CASCADE,
  id_access_right bigint NOT NULL REFERENCES sys.t_access_right (id) ON DELETE CASCADE,
  UNIQUE (id_user, id_access_right)
);

-- System attributes (getSystemAttr): "FilePath", "superAdminId", ...
CREATE TABLE sys.t_system_attr (
  c_name        text PRIMARY KEY,
  c_value       text,
  c_description text
);

-- Panels (modules) the host loads, in menu order (GetPanels).
CREATE TABLE sys.t_panel (
  id        bigserial PRIMARY KEY,
  c_name    text NOT NULL UNIQUE,
  c_library text NOT NULL,
  c_caption text NOT NULL,
  n_order   integer NOT NULL DEFAULT 0
);
