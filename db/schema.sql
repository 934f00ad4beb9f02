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

-- Users of the system, each with a login role of his own (db/users.sql);
-- the password verifiers are in sys.t_user_password. The built-in
-- administrator has the empty login; his id is the system attribute
-- "superAdminId".
CREATE TABLE sys.t_user (
  id         bigserial PRIMARY KEY,
  c_login    text NOT NULL UNIQUE,
  c_name     text NOT NULL,
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

-- Users' own settings (QDbSettings): one value per user, group and key.
CREATE TABLE sys.t_user_attr (
  id      bigserial PRIMARY KEY,
  id_user bigint NOT NULL REFERENCES sys.t_user (id) ON DELETE CASCADE,
  c_group text NOT NULL,
  c_key   text NOT NULL,
  c_value text,
  n_type  integer NOT NULL DEFAULT 10,
  UNIQUE (id_user, c_group, c_key)
);

-- System attributes under the names the clients query them by.
CREATE VIEW sys.t_sys_attr AS
  SELECT c_name AS c_attr, c_value, c_description FROM sys.t_system_attr;

-- Numbering counters: documents and fault codes take their numbers from here.
CREATE TABLE sys.t_counter (
  c_sys_name text PRIMARY KEY,
  n_value    bigint NOT NULL DEFAULT 0 CHECK (n_value >= 0)
);

-- Next number of a counter; a counter that does not exist yet starts at 1.
CREATE FUNCTION sys.f_counter_next(p_sys_name text) RETURNS bigint
LANGUAGE sql AS $$
  INSERT INTO sys.t_counter AS c (c_sys_name, n_value) VALUES (p_sys_name, 1)
  ON CONFLICT (c_sys_name) DO UPDATE SET n_value = c.n_value + 1
  RETURNING n_value
$$;

-- A check that refuses with a message people can read: true when `p_ok` is
-- true or unknown (as a CHECK treats null), otherwise a check_violation
-- with `p_message`. CHECK constraints call it to name what is wrong.
CREATE FUNCTION sys.f_check(p_ok boolean, p_message text) RETURNS boolean
LANGUAGE plpgsql IMMUTABLE AS $$
BEGIN
  IF p_ok IS FALSE THEN
    RAISE EXCEPTION '%', p_message USING ERRCODE = 'check_violation';
  END IF;
  RETURN true;
END
$$;

-- A date people may enter: between 1900 and 2200 (the client reads years
-- outside that range wrongly, and none of them is meant).
CREATE FUNCTION sys.f_check_date(p_date date, p_what text) RETURNS boolean
LANGUAGE sql IMMUTABLE AS $$
  SELECT sys.f_check(p_date BETWEEN DATE '1900-01-01' AND DATE '2200-12-31',
                     p_what || ' должна быть в пределах 1900-2200 годов')
$$;

-- A quantity people may enter: a number (not NaN or infinite) above zero.
CREATE FUNCTION sys.f_check_quantity(p_value numeric, p_what text) RETURNS boolean
LANGUAGE sql IMMUTABLE AS $$
  SELECT sys.f_check(p_value > 0 AND p_value <> CAST('NaN' AS numeric),
                     p_what || ' должно быть числом больше нуля')
$$;

-- The user's text for a LIKE pattern, matched literally: "\", "%" and "_"
-- are escaped with the default escape character "\".
CREATE FUNCTION sys.f_like_escape(p_text text) RETURNS text
LANGUAGE sql IMMUTABLE AS $$
  SELECT replace(replace(replace(p_text, '\', '\\'), '%', '\%'), '_', '\_')
$$;

-- --------------------------------------------------------------- dirs -----

CREATE TABLE dirs.t_meas_unit (
  id           bigserial PRIMARY KEY,
  c_name       text NOT NULL UNIQUE,
  c_short_name text NOT NULL,
  n_precission integer NOT NULL DEFAULT 0 CHECK (n_precission BETWEEN 0 AND 6)
);

-- Hierarchy of stock item types; a root type has no parent.
CREATE TABLE dirs.t_item_type (
  id        bigserial PRIMARY KEY,
  id_parent bigint REFERENCES dirs.t_item_type (id),
  c_name    text NOT NULL,
  CHECK (id_parent IS DISTINCT FROM id)
);
CREATE INDEX ON dirs.t_item_type (id_parent);

-- Item families: the stock articles.
CREATE TABLE dirs.t_item_family (
  id           bigserial PRIMARY KEY,
  id_type      bigint NOT NULL REFERENCES dirs.t_item_type (id),
  id_meas_unit bigint REFERENCES dirs.t_meas_unit (id),
  c_name       text NOT NULL,
  c_part_num   text
);
CREATE INDEX ON dirs.t_item_family (id_type);

-- Single stock items (with their own serial numbers).
CREATE TABLE dirs.t_item (
  id             bigserial PRIMARY KEY,
  id_item_family bigint NOT NULL REFERENCES dirs.t_item_family (id),
  c_serial       text
);

CREATE TABLE dirs.t_store (
  id     bigserial PRIMARY KEY,
  c_name text NOT NULL UNIQUE
);

-- Stock of each item family per store.
CREATE TABLE dirs.t_item_family_store (
  id             bigserial PRIMARY KEY,
  id_store       bigint NOT NULL REFERENCES dirs.t_store (id),
  id_item_family bigint NOT NULL REFERENCES dirs.t_item_family (id) ON DELETE CASCADE,
  n_qty          numeric(18, 6) NOT NULL DEFAULT 0,
  UNIQUE (id_store, id_item_family)
);

CREATE TABLE dirs.t_equipment (
  id           bigserial PRIMARY KEY,
  c_tab_number text NOT NULL UNIQUE,
  c_name       text NOT NULL
);

CREATE TABLE dirs.t_equipment_repair (
  id            bigserial PRIMARY KEY,
  id_equipment  bigint NOT NULL REFERENCES dirs.t_equipment (id),
  d_date        date NOT NULL DEFAULT current_date,
  c_description text
);

-- ---------------------------------------------------------------- inv -----

-- Products: types (hierarchy), products, versions and analog versions.
CREATE TABLE inv.t_product_type (
  id        bigserial PRIMARY KEY,
  id_parent bigint REFERENCES inv.t_product_type (id),
  c_name    text NOT NULL,
  CHECK (id_parent IS DISTINCT FROM id)
);

CREATE TABLE inv.t_product (
  id        bigserial PRIMARY KEY,
  id_type   bigint NOT NULL REFERENCES inv.t_product_type (id),
  c_name    text NOT NULL,
  b_virtual boolean NOT NULL DEFAULT false
);

CREATE TABLE inv.t_product_version (
  id         bigserial PRIMARY KEY,
  id_product bigint NOT NULL REFERENCES inv.t_product (id),
  c_name     text NOT NULL,
  c_part_num text,
  UNIQUE (id_product, c_name)
);

-- Versions that may replace one another (kept in both directions).
CREATE TABLE inv.tl_version_analog (
  id         bigserial PRIMARY KEY,
  id_version bigint NOT NULL REFERENCES inv.t_product_version (id) ON DELETE CASCADE,
  id_analog  bigint NOT NULL REFERENCES inv.t_product_version (id) ON DELETE CASCADE,
  UNIQUE (id_version, id_analog),
  CHECK (id_version <> id_analog)
);

-- The full name of a version as lists show it: version, blank, product
-- (the defect list joins the same two names itself).
CREATE FUNCTION inv.c_full_version_name(p_id bigint) RETURNS text
LANGUAGE sql STABLE AS $$
  SELECT v.c_name || ' ' || p.c_name
    FROM inv.t_product_version v JOIN inv.t_product p ON p.id = v.id_product
   WHERE v.id = p_id
$$;

-- Every analog of a version, also analogs of analogs; the version itself
-- is not among them.
CREATE FUNCTION inv.n_version_recursive_analog(p_id_version bigint)
RETURNS TABLE (id bigint)
LANGUAGE sql STABLE AS $$
  WITH RECURSIVE a (id) AS (
    SELECT p_id_version
    UNION
    SELECT CASE WHEN l.id_version = a.id THEN l.id_analog ELSE l.id_version END
      FROM inv.tl_version_analog l JOIN a ON a.id IN (l.id_version, l.id_analog)
  )
  SELECT a.id FROM a WHERE a.id <> p_id_version ORDER BY a.id
$$;

-- Process technologies (routings) of product versions.
CREATE TABLE inv.t_process_technology (
  id                 bigserial PRIMARY KEY,
  id_product_version bigint REFERENCES inv.t_product_version (id),
  c_name             text NOT NULL,
  c_number           text
);

CREATE VIEW inv.v_process_technology AS
  SELECT pt.id, pt.c_number || ' ' || pt.c_name AS c_name, pt.c_number, pt.id_product_version,
         inv.c_full_version_name(pt.id_product_version) AS c_version
    FROM inv.t_process_technology pt;

-- --------------------------------------------------------------- prod -----

-- Production units (workshops, sites).
CREATE TABLE prod.t_reference_units (
  id          bigserial PRIMARY KEY,
  c_name      text NOT NULL UNIQUE,
  c_short_name text
);

-- Product versions each unit manufactures.
CREATE TABLE prod.tl_unit_product_version (
  id                 bigserial PRIMARY KEY,
  id_unit            bigint NOT NULL REFERENCES prod.t_reference_units (id) ON DELETE CASCADE,
  id_product_version bigint NOT NULL REFERENCES inv.t_product_version (id) ON DELETE CASCADE,
  UNIQUE (id_unit, id_product_version)
);

-- ---------------------------------------------------------------- jur -----

CREATE TABLE jur.t_contractor (
  id      bigserial PRIMARY KEY,
  c_name  text NOT NULL,
  c_inn   text UNIQUE,
  c_city  text,
  c_phone text
);

-- --------------------------------------------------------------- docs -----

-- Common head of every document: its number (name), author and date.
CREATE TABLE docs.t_doc (
  id         bigserial PRIMARY KEY,
  c_name     text NOT NULL,
  c_doc_type text NOT NULL,
  d_create   timestamp NOT NULL DEFAULT localtimestamp,
  id_creator bigint REFERENCES sys.t_user (id),
  b_is_del   boolean NOT NULL DEFAULT false,
  UNIQUE (c_doc_type, c_name)
);

CREATE SEQUENCE docs.s_process_exam_number;
CREATE SEQUENCE docs.s_plan_order_number;

-- A new document head with the next number of its kind.
CREATE FUNCTION docs.f_doc_new(p_doc_type text, p_id_creator bigint) RETURNS bigint
LANGUAGE sql AS $$
  INSERT INTO docs.t_doc (c_name, c_doc_type, id_creator)
  VALUES (CASE p_doc_type
            WHEN 'process_exam' THEN 'ДЕФ-' || lpad(CAST(nextval('docs.s_process_exam_number') AS text), 6, '0')
            WHEN 'plan_order' THEN 'ПЛ-' || lpad(CAST(nextval('docs.s_plan_order_number') AS text), 5, '0')
            ELSE p_doc_type || '-' || CAST(sys.f_counter_next('doc:' || p_doc_type) AS text)
          END,
          p_doc_type, p_id_creator)
  RETURNING id
$$;

CREATE TABLE docs.t_plan_order_type (
  id     bigserial PRIMARY KEY,
  c_name text NOT NULL UNIQUE
);

-- States of plan orders; state 2 is a closed plan that takes no changes.
CREATE TABLE docs.t_plan_order_state (
  id     bigint PRIMARY KEY,
  c_name text NOT NULL UNIQUE
);

-- Plan orders: production plans (with a product version) and repair plans
-- (without). A plan order is also the store order of the items it needs.
CREATE TABLE docs.t_plan_order (
  id              bigserial PRIMARY KEY,
  id_doc          bigint NOT NULL UNIQUE REFERENCES docs.t_doc (id),
  id_type         bigint NOT NULL REFERENCES docs.t_plan_order_type (id),
  id_state        bigint NOT NULL DEFAULT 1 REFERENCES docs.t_plan_order_state (id),
  id_unit         bigint NOT NULL REFERENCES prod.t_reference_units (id),
  id_prod_ver     bigint REFERENCES inv.t_product_version (id),
  id_store_order  bigint GENERATED ALWAYS AS (id) STORED,
  c_coment        text,
  n_qnt           integer NOT NULL DEFAULT 1 CHECK (n_qnt > 0),
  n_priority      integer NOT NULL DEFAULT 500 CHECK (n_priority BETWEEN 1 AND 1000),
  d_shipment_plan date CHECK (sys.f_check_date(d_shipment_plan, 'Дата отгрузки')),
  d_create        timestamp NOT NULL DEFAULT localtimestamp,
  d_close         timestamp,
  b_is_del        boolean NOT NULL DEFAULT false
);
CREATE INDEX ON docs.t_plan_order (id_unit);
CREATE INDEX ON docs.t_plan_order (id_prod_ver);

-- Items a plan order requires from the store.
CREATE TABLE docs.t_store_order_content (
  id             bigserial PRIMARY KEY,
  id_store_order bigint NOT NULL REFERENCES docs.t_plan_order (id) ON DELETE CASCADE,
  id_item_family bigint NOT NULL REFERENCES dirs.t_item_family (id),
  n_qnt_require  numeric(18, 6) NOT NULL
                 CHECK (sys.f_check_quantity(n_qnt_require, 'Требуемое количество')),
  n_qnt_giveout  numeric(18, 6)
                 CHECK (sys.f_check(n_qnt_giveout >= 0 AND n_qnt_giveout <> CAST('NaN' AS numeric),
                                    'Выданное количество должно быть числом не меньше нуля')),
  n_version      integer NOT NULL DEFAULT 1,
  id_changer     bigint REFERENCES sys.t_user (id) ON DELETE SET NULL,
  d_change       timestamp
);
CREATE INDEX ON docs.t_store_order_content (id_store_order);

-- Produced units: a production group (release of finished products) and
-- its content, one row per serial number made under a plan.
CREATE TABLE docs.t_production_group (
  id            bigserial PRIMARY KEY,
  id_doc        bigint NOT NULL UNIQUE REFERENCES docs.t_doc (id),
  id_plan_order bigint NOT NULL REFERENCES docs.t_plan_order (id)
);

CREATE TABLE docs.t_production_group_content (
  id                  bigserial PRIMARY KEY,
  id_production_group bigint REFERENCES docs.t_production_group (id),
  id_plan_order       bigint NOT NULL REFERENCES docs.t_plan_order (id),
  c_serial            text NOT NULL,
  UNIQUE (id_plan_order, c_serial)
);
CREATE INDEX ON docs.t_production_group_content (c_serial);

-- Store documents that may own attachments.
CREATE TABLE docs.t_store_sheet (
  id     bigserial PRIMARY KEY,
  id_doc bigint NOT NULL UNIQUE REFERENCES docs.t_doc (id)
);
CREATE TABLE docs.t_store_move (
  id     bigserial PRIMARY KEY,
  id_doc bigint NOT NULL UNIQUE REFERENCES docs.t_doc (id)
);
CREATE TABLE docs.t_account_bill (
  id     bigserial PRIMARY KEY,
  id_doc bigint NOT NULL UNIQUE REFERENCES docs.t_doc (id)
);

-- Document templates (QDocCreator), grouped by type.
CREATE TABLE docs.t_doc_template (
  id            bigserial PRIMARY KEY,
  c_type        text NOT NULL,
  c_name        text NOT NULL,
  c_description text,
  c_html        text NOT NULL DEFAULT '',
  c_script      text NOT NULL DEFAULT '',
  UNIQUE (c_type, c_name)
);

-- Deals with contractors.
CREATE TABLE jur.t_deal (
  id            bigserial PRIMARY KEY,
  id_doc        bigint NOT NULL UNIQUE REFERENCES docs.t_doc (id),
  id_contractor bigint NOT NULL REFERENCES jur.t_contractor (id)
);
CREATE TABLE jur.t_deal_details (
  id      bigserial PRIMARY KEY,
  id_deal bigint NOT NULL REFERENCES jur.t_deal (id) ON DELETE CASCADE,
  c_name  text
);

-- ---------------------------------------------------------------- qms -----

-- Inspection stages at which defects are found.
CREATE TABLE qms.t_exam_stage (
  id         bigserial PRIMARY KEY,
  c_name     text NOT NULL UNIQUE,
  c_sys_name text NOT NULL UNIQUE,
  n_order    integer NOT NULL DEFAULT 0
);

-- Fault types; c_sys_name names the numbering counter of the type's codes,
-- c_prefix goes before the number ("MHCS-" + 17).
CREATE TABLE qms.t_fault_type (
  id         bigserial PRIMARY KEY,
  c_name     text NOT NULL,
  c_sys_name text NOT NULL UNIQUE CHECK (c_sys_name <> ''),
  c_prefix   text NOT NULL DEFAULT '',
  n_version  integer NOT NULL DEFAULT 1,
  id_changer bigint REFERENCES sys.t_user (id) ON DELETE SET NULL,
  d_change   timestamp
);

-- Fault codes; the code is composed by qms.f_fault_code_insert.
CREATE TABLE qms.t_fault_code (
  id            bigserial PRIMARY KEY,
  id_type       bigint NOT NULL REFERENCES qms.t_fault_type (id),
  c_name        text NOT NULL UNIQUE,
  c_description text NOT NULL DEFAULT '',
  n_version     integer NOT NULL DEFAULT 1,
  id_changer    bigint REFERENCES sys.t_user (id) ON DELETE SET NULL,
  d_change      timestamp
);
CREATE INDEX ON qms.t_fault_code (id_type);

-- The defect register.
CREATE TABLE docs.t_process_exam (
  id                          bigserial PRIMARY KEY,
  id_doc                      bigint NOT NULL UNIQUE REFERENCES docs.t_doc (id),
  d_create                    timestamp NOT NULL DEFAULT localtimestamp,
  id_creator                  bigint NOT NULL REFERENCES sys.t_user (id),
  id_exam_stage               bigint NOT NULL REFERENCES qms.t_exam_stage (id),
  id_fault                    bigint REFERENCES qms.t_fault_code (id),
  id_plan_order               bigint REFERENCES docs.t_plan_order (id),
  id_product_version          bigint REFERENCES inv.t_product_version (id),
  id_production_group_content bigint REFERENCES docs.t_production_group_content (id),
  id_plan_order_repair        bigint REFERENCES docs.t_plan_order (id) ON DELETE SET NULL,
  c_description               text NOT NULL DEFAULT '',
  c_solution                  text NOT NULL DEFAULT '',
  b_reject                    boolean NOT NULL DEFAULT false,
  b_reaction                  boolean NOT NULL DEFAULT false,
  d_solution                  timestamp,
  id_solver                   bigint REFERENCES sys.t_user (id),
  n_version                   integer NOT NULL DEFAULT 1,
  id_changer                  bigint REFERENCES sys.t_user (id) ON DELETE SET NULL,
  d_change                    timestamp,
  CHECK (c_solution <> '' OR NOT b_reject)
);
CREATE INDEX ON docs.t_process_exam (id_exam_stage);
CREATE INDEX ON docs.t_process_exam (id_fault);
CREATE INDEX ON docs.t_process_exam (id_plan_order);
CREATE INDEX ON docs.t_process_exam (id_production_group_content);
CREATE INDEX ON docs.t_process_exam (id_plan_order_repair);

-- Status text of a defect. Without a solution it is not analysed yet;
-- a decided defect is rejected, needs preventive actions, or is analysed.
CREATE FUNCTION docs.f_process_exam_status(p_solution text, p_reject boolean, p_reaction boolean)
RETURNS text
LANGUAGE sql IMMUTABLE AS $$
  SELECT CASE
           WHEN coalesce(p_solution, '') = '' THEN 'Не проанализировано'
           WHEN p_reject THEN 'Забракован'
           WHEN p_reaction THEN 'Требуются предупреждающие действия'
           ELSE 'Проанализировано'
         END
$$;

-- Discussion of a defect.
CREATE TABLE docs.t_process_exam_disc (
  id              bigserial PRIMARY KEY,
  id_process_exam bigint NOT NULL REFERENCES docs.t_process_exam (id) ON DELETE CASCADE,
  id_author       bigint REFERENCES sys.t_user (id),
  c_author        text NOT NULL DEFAULT '',
  d_create        timestamp NOT NULL DEFAULT localtimestamp,
  c_text          text NOT NULL CHECK (c_text <> '')
);
CREATE INDEX ON docs.t_process_exam_disc (id_process_exam);

-- Quality-control works (investigations) opened for a fault code.
CREATE TABLE qms.t_quality_control_works (
  id            bigserial PRIMARY KEY,
  id_fault_code bigint NOT NULL REFERENCES qms.t_fault_code (id),
  c_reason      text NOT NULL,
  d_start       date NOT NULL DEFAULT current_date CHECK (sys.f_check_date(d_start, 'Дата начала')),
  d_end         date CHECK (sys.f_check_date(d_end, 'Дата окончания')),
  CHECK (d_end IS NULL OR d_end >= d_start)
);
CREATE INDEX ON qms.t_quality_control_works (id_fault_code);

-- Defects caused by a quality-control work.
CREATE TABLE qms.tl_quality_control_works_reject (
  id                       bigserial PRIMARY KEY,
  id_process_exam          bigint NOT NULL REFERENCES docs.t_process_exam (id) ON DELETE CASCADE,
  id_quality_control_works bigint NOT NULL REFERENCES qms.t_quality_control_works (id) ON DELETE CASCADE,
  UNIQUE (id_process_exam, id_quality_control_works)
);

-- Users told about a defect.
CREATE TABLE qms.tl_reject_notification (
  id              bigserial PRIMARY KEY,
  id_process_exam bigint NOT NULL REFERENCES docs.t_process_exam (id) ON DELETE CASCADE,
  id_user         bigint NOT NULL REFERENCES sys.t_user (id) ON DELETE CASCADE,
  UNIQUE (id_process_exam, id_user)
);

-- Customer appeals (claims) about a produced unit.
CREATE TABLE qms.t_customer_appeal (
  id                          bigserial PRIMARY KEY,
  id_contractor               bigint NOT NULL REFERENCES jur.t_contractor (id),
  id_production_group_content bigint NOT NULL REFERENCES docs.t_production_group_content (id),
  d_date                      date NOT NULL DEFAULT current_date,
  c_text                      text NOT NULL DEFAULT ''
);
CREATE INDEX ON qms.t_customer_appeal (id_production_group_content);

CREATE TABLE qms.t_training (
  id       bigserial PRIMARY KEY,
  c_reason text NOT NULL,
  d_date   date NOT NULL DEFAULT current_date
);

-- Production works done under a plan, by a worker, along a process technology.
CREATE TABLE prod.t_process_work (
  id                    bigserial PRIMARY KEY,
  id_plan               bigint NOT NULL REFERENCES docs.t_plan_order (id),
  id_process_technology bigint NOT NULL REFERENCES inv.t_process_technology (id),
  id_user               bigint NOT NULL REFERENCES sys.t_user (id),
  n_qty                 integer NOT NULL DEFAULT 1 CHECK (n_qty > 0),
  c_description         text,
  d_create              timestamp NOT NULL DEFAULT localtimestamp
);
CREATE INDEX ON prod.t_process_work (id_plan);

-- Defects caused by a production work.
CREATE TABLE prod.tl_process_work_reject (
  id              bigserial PRIMARY KEY,
  id_process_exam bigint NOT NULL REFERENCES docs.t_process_exam (id) ON DELETE CASCADE,
  id_process_work bigint NOT NULL REFERENCES prod.t_process_work (id) ON DELETE CASCADE,
  UNIQUE (id_process_exam, id_process_work)
);

-- ---------------------------------------------------------------- lrg -----

-- Stored files, one row per file name. The bytes are on the shared
-- directory ("FilePath"), or in bl_file when that could not be written.
CREATE TABLE lrg.t_file (
  id         bigserial PRIMARY KEY,
  c_file     text NOT NULL UNIQUE CHECK (c_file <> ''),
  c_comment  text,
  n_crc      bigint CHECK (n_crc BETWEEN 0 AND 4294967295),
  n_size     bigint CHECK (n_size >= 0),
  id_creator bigint REFERENCES sys.t_user (id) ON DELETE SET NULL,
  d_create   timestamp NOT NULL DEFAULT localtimestamp,
  bl_file    bytea,
  n_version  integer NOT NULL DEFAULT 1,
  id_changer bigint REFERENCES sys.t_user (id) ON DELETE SET NULL,
  d_change   timestamp
);
CREATE INDEX ON lrg.t_file (n_crc);

-- Documents of the help system, stored the same way ("FileHelpPath").
CREATE TABLE lrg.t_file_help (
  id         bigserial PRIMARY KEY,
  c_file     text NOT NULL UNIQUE CHECK (c_file <> ''),
  d_create   timestamp NOT NULL DEFAULT localtimestamp,
  bl_file    bytea
);

-- Attachments: a stored file linked to an owner record (table name + key).
CREATE TABLE lrg.t_file_owner (
  id      bigserial PRIMARY KEY,
  id_file bigint NOT NULL REFERENCES lrg.t_file (id),
  c_table text NOT NULL CHECK (c_table <> ''),
  n_key   bigint NOT NULL CHECK (n_key > 0),
  UNIQUE (id_file, c_table, n_key)
);
CREATE INDEX ON lrg.t_file_owner (c_table, n_key);

-- An attachment must name an existing owner row for the owner tables this
-- database knows.
CREATE FUNCTION lrg.f_file_owner_check() RETURNS trigger
LANGUAGE plpgsql AS $$
BEGIN
  IF (NEW.c_table = 't_process_exam'
        AND NOT EXISTS (SELECT 1 FROM docs.t_process_exam WHERE id = NEW.n_key))
     OR (NEW.c_table = 't_customer_appeal'
        AND NOT EXISTS (SELECT 1 FROM qms.t_customer_appeal WHERE id = NEW.n_key))
     OR (NEW.c_table = 't_product_version'
        AND NOT EXISTS (SELECT 1 FROM inv.t_product_version WHERE id = NEW.n_key))
     OR (NEW.c_table = 't_product'
        AND NOT EXISTS (SELECT 1 FROM inv.t_product WHERE id = NEW.n_key))
     OR (NEW.c_table = 't_contractor'
        AND NOT EXISTS (SELECT 1 FROM jur.t_contractor WHERE id = NEW.n_key)) THEN
    RAISE EXCEPTION 'Нет записи % в таблице % для вложения', NEW.n_key, NEW.c_table
      USING ERRCODE = 'foreign_key_violation';
  END IF;
  RETURN NEW;
END
$$;
CREATE TRIGGER t_file_owner_check BEFORE INSERT OR UPDATE ON lrg.t_file_owner
  FOR EACH ROW EXECUTE FUNCTION lrg.f_file_owner_check();

-- Removes a stored file that no attachment uses any more; true when removed.
CREATE FUNCTION lrg.v_file_try_delete(p_id_user bigint, p_id bigint) RETURNS boolean
LANGUAGE sql AS $$
  WITH d AS (
    DELETE FROM lrg.t_file f
     WHERE f.id = p_id AND NOT EXISTS (SELECT 1 FROM lrg.t_file_owner o WHERE o.id_file = f.id)
    RETURNING f.id)
  SELECT EXISTS (SELECT 1 FROM d)
$$;

-- The content of a stored file kept in the database; null when unknown.
-- The flag names the store looked at first (help documents or files); the
-- other one is asked when the first does not hold the name (the appeal view
-- fetches attached pictures with the flag set).
CREATE FUNCTION lrg.bl_get_file(p_file text, p_help boolean) RETURNS bytea
LANGUAGE sql STABLE AS $$
  SELECT CASE WHEN coalesce(p_help, false)
              THEN coalesce((SELECT bl_file FROM lrg.t_file_help WHERE c_file = p_file),
                            (SELECT bl_file FROM lrg.t_file WHERE c_file = p_file))
              ELSE coalesce((SELECT bl_file FROM lrg.t_file WHERE c_file = p_file),
                            (SELECT bl_file FROM lrg.t_file_help WHERE c_file = p_file))
         END
$$;

-- Stores a file's content in the database (when the shared directory cannot
-- be written); an existing row of that name takes the content.
CREATE FUNCTION lrg.f_file_bytea_insert(p_file text, p_data bytea, p_help boolean,
                                        p_id_user bigint DEFAULT NULL)
RETURNS TABLE (id bigint, c_file text, n_size bigint)
LANGUAGE plpgsql AS $$
BEGIN
  IF coalesce(p_help, false) THEN
    RETURN QUERY
      INSERT INTO lrg.t_file_help AS f (c_file, bl_file) VALUES (p_file, p_data)
      ON CONFLICT ON CONSTRAINT t_file_help_c_file_key DO UPDATE SET bl_file = EXCLUDED.bl_file
      RETURNING f.id, f.c_file, CAST(length(f.bl_file) AS bigint);
  ELSE
    RETURN QUERY
      INSERT INTO lrg.t_file AS f (c_file, bl_file, n_size, id_creator)
      VALUES (p_file, p_data, length(p_data), p_id_user)
      ON CONFLICT ON CONSTRAINT t_file_c_file_key DO UPDATE SET bl_file = EXCLUDED.bl_file
      RETURNING f.id, f.c_file, f.n_size;
  END IF;
END
$$;

-- Attachment rows as the attachment tables show them: id is the stored
-- file's id; bl_file is left empty (the bytes are fetched on demand).
CREATE VIEW lrg.v_file_owner AS
  SELECT f.id, o.c_table, o.n_key, f.c_comment, f.c_file, f.n_crc, f.n_size, f.id_creator,
         f.d_create, CAST(NULL AS bytea) AS bl_file, o.id AS id_file_owner, u.c_name AS c_creator,
         f.n_version
    FROM lrg.t_file_owner o
    JOIN lrg.t_file f ON f.id = o.id_file
    LEFT JOIN sys.t_user u ON u.id = f.id_creator;

-- Attaches a file to an owner. The row names a stored file by its id, or a
-- new file by its name: a file of that name already stored in the database
-- (FILE_BYTEA_INSERT) is taken, otherwise a row is made for a file that was
-- written to the shared directory. The bytes of the row are not stored here.
CREATE FUNCTION lrg.f_file_owner_insert(p_id bigint, p_table text, p_key bigint, p_file text,
                                        p_comment text, p_crc bigint, p_size bigint,
                                        p_id_user bigint)
RETURNS SETOF lrg.v_file_owner
LANGUAGE plpgsql AS $$
DECLARE
  v_file bigint;
BEGIN
  SELECT f.id INTO v_file FROM lrg.t_file f WHERE f.id = p_id AND p_id > 0;
  IF v_file IS NULL THEN
    SELECT f.id INTO v_file FROM lrg.t_file f WHERE f.c_file = p_file;
    IF v_file IS NULL THEN
      INSERT INTO lrg.t_file (c_file, c_comment, n_crc, n_size, id_creator)
      VALUES (p_file, p_comment, p_crc, p_size, p_id_user)
      RETURNING lrg.t_file.id INTO v_file;
    ELSE
      UPDATE lrg.t_file f
         SET c_comment = coalesce(f.c_comment, p_comment), n_crc = coalesce(f.n_crc, p_crc),
             n_size = coalesce(p_size, f.n_size), id_creator = coalesce(f.id_creator, p_id_user)
       WHERE f.id = v_file;
    END IF;
  END IF;
  INSERT INTO lrg.t_file_owner (id_file, c_table, n_key) VALUES (v_file, p_table, p_key)
  ON CONFLICT DO NOTHING;
  RETURN QUERY SELECT * FROM lrg.v_file_owner v
                WHERE v.id = v_file AND v.c_table = p_table AND v.n_key = p_key;
END
$$;

-- Detaches a file from an owner and removes the stored file when nothing
-- else uses it.
CREATE FUNCTION lrg.f_file_owner_delete(p_id bigint, p_table text, p_key bigint, p_id_user bigint)
RETURNS TABLE (id bigint, b_file_deleted boolean)
LANGUAGE sql AS $$
  DELETE FROM lrg.t_file_owner o WHERE o.id_file = p_id AND o.c_table = p_table AND o.n_key = p_key;
  SELECT p_id, lrg.v_file_try_delete(p_id_user, p_id);
$$;

-- Attachments of a deleted owner go with it.
CREATE FUNCTION lrg.f_owner_deleted() RETURNS trigger
LANGUAGE plpgsql AS $$
DECLARE
  v_file bigint;
BEGIN
  FOR v_file IN
    DELETE FROM lrg.t_file_owner WHERE c_table = TG_TABLE_NAME AND n_key = OLD.id RETURNING id_file
  LOOP
    PERFORM lrg.v_file_try_delete(NULL, v_file);
  END LOOP;
  RETURN OLD;
END
$$;
CREATE TRIGGER t_process_exam_files AFTER DELETE ON docs.t_process_exam
  FOR EACH ROW EXECUTE FUNCTION lrg.f_owner_deleted();
CREATE TRIGGER t_customer_appeal_files AFTER DELETE ON qms.t_customer_appeal
  FOR EACH ROW EXECUTE FUNCTION lrg.f_owner_deleted();

-- Places where a stored file is used, described for people.
CREATE FUNCTION lrg.f_file_use(p_id_file bigint)
RETURNS TABLE (id bigint, c_table text, n_key bigint, c_description text, c_name text)
LANGUAGE sql STABLE AS $$
  SELECT o.id, o.c_table, o.n_key,
         CASE o.c_table
           WHEN 't_item_family' THEN 'Семейство'
           WHEN 't_product_version' THEN 'Версия изделия'
           WHEN 't_product' THEN 'Изделие'
           WHEN 't_process_technology' THEN 'Техпроцесс'
           WHEN 't_store_sheet' THEN 'Прием'
           WHEN 't_store_move' THEN 'Перемещение'
           WHEN 't_account_bill' THEN 'Закупка'
           WHEN 't_process_exam' THEN 'Дефект'
           WHEN 't_deal' THEN 'Сделка'
           WHEN 't_deal_detail' THEN 'Детали сделки'
           WHEN 't_production_group_content' THEN 'Готовая продукция'
           WHEN 't_docs' THEN 'Документы'
           WHEN 't_training' THEN 'Обучение'
           WHEN 't_firmware' THEN 'Прошивка'
           WHEN 't_contractor' THEN 'Контрагент'
           WHEN 't_equipment_repair' THEN 'Ремонт оборудования'
           WHEN 't_customer_appeal' THEN 'Обращение клиентов'
           ELSE ''
         END,
         coalesce(CASE o.c_table
           WHEN 't_item_family' THEN (SELECT x.c_name FROM dirs.t_item_family x WHERE x.id = o.n_key)
           WHEN 't_product_version' THEN inv.c_full_version_name(o.n_key)
           WHEN 't_product' THEN (SELECT x.c_name FROM inv.t_product x WHERE x.id = o.n_key)
           WHEN 't_process_technology' THEN (SELECT x.c_name FROM inv.v_process_technology x WHERE x.id = o.n_key)
           WHEN 't_store_sheet' THEN (SELECT d.c_name FROM docs.t_store_sheet x JOIN docs.t_doc d ON d.id = x.id_doc WHERE x.id = o.n_key)
           WHEN 't_store_move' THEN (SELECT d.c_name FROM docs.t_store_move x JOIN docs.t_doc d ON d.id = x.id_doc WHERE x.id = o.n_key)
           WHEN 't_account_bill' THEN (SELECT d.c_name FROM docs.t_account_bill x JOIN docs.t_doc d ON d.id = x.id_doc WHERE x.id = o.n_key)
           WHEN 't_process_exam' THEN (SELECT d.c_name FROM docs.t_process_exam x JOIN docs.t_doc d ON d.id = x.id_doc WHERE x.id = o.n_key)
           WHEN 't_deal' THEN (SELECT d.c_name FROM jur.t_deal x JOIN docs.t_doc d ON d.id = x.id_doc WHERE x.id = o.n_key)
           WHEN 't_deal_detail' THEN (SELECT d.c_name FROM jur.t_deal_details x JOIN jur.t_deal y ON y.id = x.id_deal JOIN docs.t_doc d ON d.id = y.id_doc WHERE x.id = o.n_key)
           WHEN 't_production_group_content' THEN (SELECT d.c_name FROM docs.t_production_group_content x JOIN docs.t_production_group y ON y.id = x.id_production_group JOIN docs.t_doc d ON d.id = y.id_doc WHERE x.id = o.n_key)
           WHEN 't_training' THEN (SELECT x.c_reason FROM qms.t_training x WHERE x.id = o.n_key)
           WHEN 't_contractor' THEN (SELECT x.c_name FROM jur.t_contractor x WHERE x.id = o.n_key)
           WHEN 't_equipment_repair' THEN (SELECT e.c_tab_number FROM dirs.t_equipment_repair x JOIN dirs.t_equipment e ON e.id = x.id_equipment WHERE x.id = o.n_key)
         END, '')
    FROM lrg.t_file_owner o
   WHERE o.id_file = p_id_file
   ORDER BY o.c_table, o.n_key
$$;

-- ------------------------------------------------------ defect rules -----

-- A new defect gets its document (number); its product version follows its
-- production plan; a solution is stamped with who decided and when.
CREATE FUNCTION docs.f_process_exam_before() RETURNS trigger
LANGUAGE plpgsql AS $$
BEGIN
  IF TG_OP = 'INSERT' AND NEW.id_doc IS NULL THEN
    NEW.id_doc := docs.f_doc_new('process_exam', NEW.id_creator);
  END IF;
  IF NEW.id_plan_order IS NOT NULL
     AND (TG_OP = 'INSERT' OR NEW.id_plan_order IS DISTINCT FROM OLD.id_plan_order
          OR NEW.id_product_version IS NULL) THEN
    NEW.id_product_version := coalesce(
      (SELECT po.id_prod_ver FROM docs.t_plan_order po WHERE po.id = NEW.id_plan_order),
      NEW.id_product_version);
  END IF;
  NEW.c_description := coalesce(NEW.c_description, '');
  NEW.c_solution := coalesce(NEW.c_solution, '');
  IF NEW.c_solution = '' THEN
    NEW.d_solution := NULL;
    NEW.id_solver := NULL;
  ELSIF TG_OP = 'INSERT' OR OLD.c_solution = '' THEN
    NEW.d_solution := coalesce(NEW.d_solution, localtimestamp);
  END IF;
  RETURN NEW;
END
$$;
CREATE TRIGGER t_process_exam_before BEFORE INSERT OR UPDATE ON docs.t_process_exam
  FOR EACH ROW EXECUTE FUNCTION docs.f_process_exam_before();

-- The document of a removed defect goes with it.
CREATE FUNCTION docs.f_process_exam_deleted() RETURNS trigger
LANGUAGE plpgsql AS $$
BEGIN
  DELETE FROM docs.t_doc WHERE id = OLD.id_doc;
  RETURN OLD;
END
$$;
CREATE TRIGGER t_process_exam_deleted AFTER DELETE ON docs.t_process_exam
  FOR EACH ROW EXECUTE FUNCTION docs.f_process_exam_deleted();

-- The defect register as the list shows it.
CREATE VIEW docs.v_process_exam AS
  SELECT pe.id,
         CAST(coalesce(pics.n_pics, 0) AS integer) AS n_pics,
         pe.d_create,
         d.c_name,
         dp.c_name AS c_plan_order,
         pv.c_name || ' ' || pr.c_name AS c_version,
         st.c_name AS c_exam_stage,
         pgc.c_serial,
         fc.c_name AS c_fault,
         pe.c_description,
         docs.f_process_exam_status(pe.c_solution, pe.b_reject, pe.b_reaction) AS c_status,
         pe.c_solution,
         pe.b_reject,
         pe.id_plan_order,
         pe.id_product_version,
         pe.id_fault,
         pe.id_production_group_content,
         st.c_sys_name AS c_exam_stage_sys_name,
         pe.b_reaction,
         u.c_name AS c_creator,
         pe.id_plan_order_repair,
         dr.c_name AS c_plan_order_repair,
         pe.id_creator,
         pe.id_exam_stage,
         fc.c_description AS c_fault_description,
         pe.d_solution,
         pe.n_version
    FROM docs.t_process_exam pe
    JOIN docs.t_doc d ON d.id = pe.id_doc
    JOIN qms.t_exam_stage st ON st.id = pe.id_exam_stage
    JOIN sys.t_user u ON u.id = pe.id_creator
    LEFT JOIN qms.t_fault_code fc ON fc.id = pe.id_fault
    LEFT JOIN docs.t_plan_order po ON po.id = pe.id_plan_order
    LEFT JOIN docs.t_doc dp ON dp.id = po.id_doc
    LEFT JOIN inv.t_product_version pv ON pv.id = pe.id_product_version
    LEFT JOIN inv.t_product pr ON pr.id = pv.id_product
    LEFT JOIN docs.t_production_group_content pgc ON pgc.id = pe.id_production_group_content
    LEFT JOIN docs.t_plan_order por ON por.id = pe.id_plan_order_repair
    LEFT JOIN docs.t_doc dr ON dr.id = por.id_doc
    LEFT JOIN (SELECT o.n_key, count(*) AS n_pics FROM lrg.t_file_owner o
                WHERE o.c_table = 't_process_exam' GROUP BY o.n_key) pics ON pics.n_key = pe.id;

-- The stage of a defect given by its system name; an unknown or missing
-- stage is refused (a defect always has a stage).
CREATE FUNCTION qms.f_exam_stage_id(p_sys_name text) RETURNS bigint
LANGUAGE plpgsql STABLE AS $$
DECLARE
  v_id bigint;
BEGIN
  SELECT id INTO v_id FROM qms.t_exam_stage WHERE c_sys_name = p_sys_name;
  IF v_id IS NULL THEN
    RAISE EXCEPTION 'Этап отбора "%" не найден', coalesce(p_sys_name, '')
      USING ERRCODE = 'not_null_violation';
  END IF;
  RETURN v_id;
END
$$;

CREATE FUNCTION docs.f_process_exam_insert(
  p_id_creator bigint, p_stage text, p_id_fault bigint, p_id_plan_order bigint,
  p_id_production_group_content bigint, p_id_product_version bigint, p_description text,
  p_solution text, p_reject boolean, p_reaction boolean, p_id_plan_order_repair bigint)
RETURNS SETOF docs.v_process_exam
LANGUAGE plpgsql AS $$
DECLARE
  v_id bigint;
BEGIN
  INSERT INTO docs.t_process_exam (id_creator, id_exam_stage, id_fault, id_plan_order,
                                   id_production_group_content, id_product_version,
                                   c_description, c_solution, b_reject, b_reaction,
                                   id_plan_order_repair, id_solver)
  VALUES (p_id_creator, qms.f_exam_stage_id(p_stage), p_id_fault, p_id_plan_order,
          p_id_production_group_content, p_id_product_version, p_description,
          coalesce(p_solution, ''), coalesce(p_reject, false), coalesce(p_reaction, false),
          p_id_plan_order_repair, CASE WHEN coalesce(p_solution, '') <> '' THEN p_id_creator END)
  RETURNING id INTO v_id;
  RETURN QUERY SELECT * FROM docs.v_process_exam WHERE id = v_id;
END
$$;

-- Writes a defect. A record that carries the row version (n_version) is the
-- whole defect as the client read it: its nulls are written, and a version
-- that is no longer the stored one is refused (sys.f_row_version). A record
-- without it changes only the fields it gives. A defect that is gone is
-- refused too, so that no save of it reports success.
CREATE FUNCTION docs.f_process_exam_update(
  p_id bigint, p_id_user bigint, p_stage text, p_id_fault bigint, p_id_plan_order bigint,
  p_id_production_group_content bigint, p_id_product_version bigint, p_description text,
  p_solution text, p_reject boolean, p_reaction boolean, p_id_plan_order_repair bigint,
  p_version integer DEFAULT NULL)
RETURNS SETOF docs.v_process_exam
LANGUAGE plpgsql AS $$
DECLARE
  v_whole boolean := p_version IS NOT NULL;
BEGIN
  UPDATE docs.t_process_exam pe
     SET id_exam_stage = CASE WHEN p_stage IS NULL THEN pe.id_exam_stage
                              ELSE qms.f_exam_stage_id(p_stage) END,
         id_fault = CASE WHEN v_whole THEN p_id_fault ELSE coalesce(p_id_fault, pe.id_fault) END,
         id_plan_order = CASE WHEN v_whole THEN p_id_plan_order
                              ELSE coalesce(p_id_plan_order, pe.id_plan_order) END,
         id_production_group_content =
           CASE WHEN v_whole THEN p_id_production_group_content
                ELSE coalesce(p_id_production_group_content, pe.id_production_group_content) END,
         id_product_version = coalesce(p_id_product_version, pe.id_product_version),
         c_description = CASE WHEN v_whole THEN coalesce(p_description, '')
                              ELSE coalesce(p_description, pe.c_description) END,
         c_solution = CASE WHEN v_whole THEN coalesce(p_solution, '')
                           ELSE coalesce(p_solution, pe.c_solution) END,
         b_reject = CASE WHEN v_whole THEN coalesce(p_reject, false)
                         ELSE coalesce(p_reject, pe.b_reject) END,
         b_reaction = CASE WHEN v_whole THEN coalesce(p_reaction, false)
                           ELSE coalesce(p_reaction, pe.b_reaction) END,
         id_plan_order_repair = CASE WHEN v_whole THEN p_id_plan_order_repair
                                     ELSE coalesce(p_id_plan_order_repair, pe.id_plan_order_repair) END,
         id_solver = CASE WHEN coalesce(p_solution, CASE WHEN v_whole THEN '' ELSE pe.c_solution END) = '' THEN NULL
                          WHEN pe.c_solution = '' THEN p_id_user
                          ELSE pe.id_solver END,
         n_version = coalesce(p_version, pe.n_version),
         id_changer = p_id_user
   WHERE pe.id = p_id;
  IF NOT FOUND THEN
    RAISE EXCEPTION 'Дефект не найден: его удалил другой пользователь. Изменения не сохранены'
      USING ERRCODE = 'no_data_found';
  END IF;
  RETURN QUERY SELECT * FROM docs.v_process_exam WHERE id = p_id;
END
$$;

-- Only a defect that has not been analysed may be removed.
CREATE FUNCTION docs.f_process_exam_delete(p_id bigint) RETURNS TABLE (id bigint, c_name text)
LANGUAGE plpgsql AS $$
DECLARE
  v_solution text;
  v_name text;
BEGIN
  SELECT pe.c_solution, d.c_name INTO v_solution, v_name
    FROM docs.t_process_exam pe JOIN docs.t_doc d ON d.id = pe.id_doc WHERE pe.id = p_id;
  IF v_solution <> '' THEN
    RAISE EXCEPTION 'Дефект % уже проанализирован и не может быть удален', v_name
      USING ERRCODE = 'restrict_violation';
  END IF;
  DELETE FROM docs.t_process_exam pe WHERE pe.id = p_id;
  IF NOT FOUND THEN
    RAISE EXCEPTION 'Дефект не найден: его уже удалил другой пользователь'
      USING ERRCODE = 'no_data_found';
  END IF;
  RETURN QUERY SELECT p_id, v_name;
END
$$;

-- Merges the source defect into the target: the target keeps its own data
-- and takes over the source's discussion, pictures and attachments, and its
-- links to quality-control works, production works and notified users; a
-- repair plan or a fault code the target lacks is taken from the source.
-- The source is removed. Returns the target.
CREATE FUNCTION docs.f_process_exam_merge(p_target bigint, p_source bigint)
RETURNS SETOF docs.v_process_exam
LANGUAGE plpgsql AS $$
DECLARE
  s docs.t_process_exam;
BEGIN
  PERFORM sys.f_require_right('REJECT_SOLUTION');
  IF p_target IS NULL OR p_source IS NULL OR p_target = p_source THEN
    RAISE EXCEPTION 'Дефект нельзя объединить с самим собой' USING ERRCODE = 'check_violation';
  END IF;
  PERFORM 1 FROM docs.t_process_exam WHERE id = p_target FOR UPDATE;
  IF NOT FOUND THEN
    RAISE EXCEPTION 'Дефект % не найден', p_target USING ERRCODE = 'no_data_found';
  END IF;
  SELECT * INTO s FROM docs.t_process_exam WHERE id = p_source FOR UPDATE;
  IF NOT FOUND THEN
    RAISE EXCEPTION 'Дефект % не найден', p_source USING ERRCODE = 'no_data_found';
  END IF;

  UPDATE docs.t_process_exam_disc SET id_process_exam = p_target WHERE id_process_exam = p_source;

  INSERT INTO lrg.t_file_owner (id_file, c_table, n_key)
  SELECT id_file, 't_process_exam', p_target FROM lrg.t_file_owner
   WHERE c_table = 't_process_exam' AND n_key = p_source
  ON CONFLICT DO NOTHING;
  DELETE FROM lrg.t_file_owner WHERE c_table = 't_process_exam' AND n_key = p_source;

  INSERT INTO qms.tl_quality_control_works_reject (id_process_exam, id_quality_control_works)
  SELECT p_target, id_quality_control_works FROM qms.tl_quality_control_works_reject
   WHERE id_process_exam = p_source
  ON CONFLICT DO NOTHING;
  INSERT INTO prod.tl_process_work_reject (id_process_exam, id_process_work)
  SELECT p_target, id_process_work FROM prod.tl_process_work_reject WHERE id_process_exam = p_source
  ON CONFLICT DO NOTHING;
  INSERT INTO qms.tl_reject_notification (id_process_exam, id_user)
  SELECT p_target, id_user FROM qms.tl_reject_notification WHERE id_process_exam = p_source
  ON CONFLICT DO NOTHING;

  UPDATE docs.t_process_exam t
     SET id_plan_order_repair = coalesce(t.id_plan_order_repair, s.id_plan_order_repair),
         id_fault = coalesce(t.id_fault, s.id_fault)
   WHERE t.id = p_target;

  DELETE FROM docs.t_process_exam WHERE id = p_source;
  RETURN QUERY SELECT * FROM docs.v_process_exam WHERE id = p_target;
END
$$;

-- A new fault code of a type: the type's prefix and the next number of the
-- type's counter ("MHCS-" + 17).
CREATE FUNCTION qms.f_fault_code_insert(p_id_type bigint, p_description text)
RETURNS SETOF qms.t_fault_code
LANGUAGE plpgsql AS $$
DECLARE
  t qms.t_fault_type;
BEGIN
  SELECT * INTO t FROM qms.t_fault_type WHERE id = p_id_type;
  IF NOT FOUND THEN
    RAISE EXCEPTION 'Тип дефекта % не найден', p_id_type USING ERRCODE = 'foreign_key_violation';
  END IF;
  RETURN QUERY
    INSERT INTO qms.t_fault_code (id_type, c_name, c_description)
    VALUES (t.id, t.c_prefix || CAST(sys.f_counter_next(t.c_sys_name) AS text),
            coalesce(p_description, ''))
    RETURNING *;
END
$$;

-- --------------------------------------------------------------- task -----

-- Tasks of the scheduler.
CREATE TABLE task.t_scheduler (
  id            bigserial PRIMARY KEY,
  id_creator    bigint NOT NULL REFERENCES sys.t_user (id),
  id_user       bigint NOT NULL REFERENCES sys.t_user (id),
  n_number      bigint NOT NULL,
  c_name        text NOT NULL CHECK (c_name <> ''),
  c_description text,
  n_due         integer CHECK (n_due >= 0),
  d_create      timestamp NOT NULL DEFAULT localtimestamp,
  d_due         date,
  b_is_complete boolean NOT NULL DEFAULT false,
  b_is_del      boolean NOT NULL DEFAULT false
);
CREATE INDEX ON task.t_scheduler (id_user);

-- Creates a task for a user. The number is the next of the scheduler's
-- counter when none is given; n_due is the number of days until it is due.
CREATE FUNCTION task.t_scheduler_insert(p_id_creator bigint, p_id_user bigint, p_number bigint,
                                        p_name text, p_description text, p_due integer,
                                        p_is_complete boolean, p_is_del boolean)
RETURNS SETOF task.t_scheduler
LANGUAGE sql AS $$
  INSERT INTO task.t_scheduler (id_creator, id_user, n_number, c_name, c_description, n_due, d_due,
                                b_is_complete, b_is_del)
  VALUES (p_id_creator, p_id_user, coalesce(p_number, sys.f_counter_next('TASK')), p_name,
          p_description, p_due, current_date + p_due, coalesce(p_is_complete, false),
          coalesce(p_is_del, false))
  RETURNING *
$$;

-- ------------------------------------------------------- plan orders -----

-- Plan orders as the plan dialogs show them.
CREATE VIEW docs.v_plan_order AS
  SELECT po.id, d.c_name, po.c_coment, po.id_unit, po.id_prod_ver, po.id_type, po.n_priority,
         po.n_qnt, po.d_shipment_plan, po.id_state, po.id_store_order, po.id_doc, po.d_create,
         po.d_close, t.c_name AS c_type, s.c_name AS c_state, ru.c_name AS c_unit,
         inv.c_full_version_name(po.id_prod_ver) AS c_prod_ver
    FROM docs.t_plan_order po
    JOIN docs.t_doc d ON d.id = po.id_doc
    JOIN docs.t_plan_order_type t ON t.id = po.id_type
    JOIN docs.t_plan_order_state s ON s.id = po.id_state
    JOIN prod.t_reference_units ru ON ru.id = po.id_unit;

-- A new plan order (repair plans have no product version) with its
-- document number; it starts in state 1.
CREATE FUNCTION docs.f_plan_order_insert(p_id_creator bigint, p_id_type bigint, p_id_unit bigint,
                                         p_id_prod_ver bigint, p_coment text, p_priority integer,
                                         p_qnt integer, p_shipment_plan date)
RETURNS SETOF docs.v_plan_order
LANGUAGE plpgsql AS $$
DECLARE
  v_id bigint;
BEGIN
  INSERT INTO docs.t_plan_order (id_doc, id_type, id_unit, id_prod_ver, c_coment, n_priority,
                                 n_qnt, d_shipment_plan)
  VALUES (docs.f_doc_new('plan_order', p_id_creator), p_id_type, p_id_unit, p_id_prod_ver,
          p_coment, coalesce(p_priority, 500), coalesce(p_qnt, 1), p_shipment_plan)
  RETURNING id INTO v_id;
  RETURN QUERY SELECT * FROM docs.v_plan_order WHERE id = v_id;
END
$$;

-- The items of a closed plan order (state 2) cannot change.
CREATE FUNCTION docs.f_store_order_content_check() RETURNS trigger
LANGUAGE plpgsql AS $$
BEGIN
  IF EXISTS (SELECT 1 FROM docs.t_plan_order
              WHERE id IN (CASE WHEN TG_OP = 'DELETE' THEN OLD.id_store_order
                                ELSE NEW.id_store_order END,
                           CASE WHEN TG_OP = 'UPDATE' THEN OLD.id_store_order END)
                AND id_state = 2) THEN
    RAISE EXCEPTION 'План закрыт, изменение состава запрещено' USING ERRCODE = 'check_violation';
  END IF;
  RETURN CASE WHEN TG_OP = 'DELETE' THEN OLD ELSE NEW END;
END
$$;
CREATE TRIGGER t_store_order_content_check
  BEFORE INSERT OR UPDATE OR DELETE ON docs.t_store_order_content
  FOR EACH ROW EXECUTE FUNCTION docs.f_store_order_content_check();

-- ------------------------------------------------------ row versions -----

-- Concurrent changes: a record that others may change at the same time
-- carries n_version, which every update raises by one, and names who changed
-- it last (id_changer) and when (d_change). An update that brings a version
-- other than the stored one was made from a stale copy and is refused with
-- the name of the user who changed the record in between and the time; an
-- update that keeps the version unchanged (a script that does not pass one)
-- is not checked. The changer is the one the update names, otherwise the
-- database user's own account when there is one.
CREATE FUNCTION sys.f_row_version() RETURNS trigger
LANGUAGE plpgsql AS $$
BEGIN
  IF NEW.n_version IS DISTINCT FROM OLD.n_version THEN
    RAISE EXCEPTION 'Запись уже изменил(а) % %. Изменения не сохранены: перечитайте запись и внесите их снова',
      coalesce((SELECT u.c_name FROM sys.t_user u WHERE u.id = OLD.id_changer), 'другой пользователь'),
      coalesce(to_char(OLD.d_change, 'DD.MM.YYYY HH24:MI:SS'), '')
      USING ERRCODE = 'serialization_failure';
  END IF;
  NEW.n_version := OLD.n_version + 1;
  NEW.d_change := clock_timestamp();
  IF NEW.id_changer IS NOT DISTINCT FROM OLD.id_changer THEN
    NEW.id_changer := coalesce(sys.f_user_id(), NEW.id_changer);
  END IF;
  RETURN NEW;
END
$$;
CREATE TRIGGER t_process_exam_version BEFORE UPDATE ON docs.t_process_exam
  FOR EACH ROW EXECUTE FUNCTION sys.f_row_version();
CREATE TRIGGER t_fault_type_version BEFORE UPDATE ON qms.t_fault_type
  FOR EACH ROW EXECUTE FUNCTION sys.f_row_version();
CREATE TRIGGER t_fault_code_version BEFORE UPDATE ON qms.t_fault_code
  FOR EACH ROW EXECUTE FUNCTION sys.f_row_version();
CREATE TRIGGER t_store_order_content_version BEFORE UPDATE ON docs.t_store_order_content
  FOR EACH ROW EXECUTE FUNCTION sys.f_row_version();
CREATE TRIGGER t_file_version BEFORE UPDATE ON lrg.t_file
  FOR EACH ROW EXECUTE FUNCTION sys.f_row_version();

-- ----------------------------------------------- refusals in plain words -----

-- A fault code that defects or quality-control works name, and a fault type
-- that still has codes, cannot be removed; the refusal says why.
CREATE FUNCTION qms.f_fault_code_deleting() RETURNS trigger
LANGUAGE plpgsql AS $$
BEGIN
  IF EXISTS (SELECT 1 FROM docs.t_process_exam WHERE id_fault = OLD.id)
     OR EXISTS (SELECT 1 FROM qms.t_quality_control_works WHERE id_fault_code = OLD.id) THEN
    RAISE EXCEPTION 'Код дефекта % используется в реестре и не может быть удален', OLD.c_name
      USING ERRCODE = 'foreign_key_violation';
  END IF;
  RETURN OLD;
END
$$;
CREATE TRIGGER t_fault_code_deleting BEFORE DELETE ON qms.t_fault_code
  FOR EACH ROW EXECUTE FUNCTION qms.f_fault_code_deleting();

CREATE FUNCTION qms.f_fault_type_deleting() RETURNS trigger
LANGUAGE plpgsql AS $$
BEGIN
  IF EXISTS (SELECT 1 FROM qms.t_fault_code WHERE id_type = OLD.id) THEN
    RAISE EXCEPTION 'Тип дефекта % содержит коды дефектов и не может быть удален', OLD.c_name
      USING ERRCODE = 'foreign_key_violation';
  END IF;
  RETURN OLD;
END
$$;
CREATE TRIGGER t_fault_type_deleting BEFORE DELETE ON qms.t_fault_type
  FOR EACH ROW EXECUTE FUNCTION qms.f_fault_type_deleting();
