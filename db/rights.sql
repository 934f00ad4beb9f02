-- Users, logins and rights, held by the database. Runs as rejects_owner
-- after schema.sql, scripts.sql and init.sql (and again, harmlessly, after
-- every change of the schema: each statement may be repeated).
--
-- Roles (cluster-wide; one register database per cluster):
--   rejects_owner      owns the schema (db/roles.sql makes it);
--   rejects_login      the connection before login: reads the script store,
--                      the panel list and the system attributes, and runs
--                      the two login functions; nothing else;
--   rejects_user       every application user: reads the register, records
--                      and describes defects, discusses them, attaches files,
--                      keeps his own settings;
--   rejects_r_<right>  one group role per right of sys.t_access_right
--                      ("rejects_r_fail_code_create", ...): what the right
--                      allows, granted below;
--   rejects_u_<login>  one login role per application user, a member of
--                      rejects_user and of the roles of his rights;
--   rejects_admin      the built-in administrator (empty login): a member of
--                      every right role; the only one who may run
--                      sys.f_user_create, sys.f_user_grant, sys.f_user_revoke.
-- The application user of a session is its login role (session_user).
--
-- A new table is readable by every user (GRANT SELECT ON ALL TABLES below,
-- and the default privileges for tables made later); its writes are granted
-- here, to rejects_user or to the role of the right that allows them.

-- ------------------------------------------------------------- roles -----

DO $$
DECLARE
  r record;
BEGIN
  IF NOT EXISTS (SELECT 1 FROM pg_roles WHERE rolname = 'rejects_user') THEN
    CREATE ROLE rejects_user NOLOGIN;
  END IF;
  IF NOT EXISTS (SELECT 1 FROM pg_roles WHERE rolname = 'rejects_login') THEN
    CREATE ROLE rejects_login NOLOGIN; -- the DBA gives it LOGIN and a password
  END IF;
  IF NOT EXISTS (SELECT 1 FROM pg_roles WHERE rolname = 'rejects_admin') THEN
    CREATE ROLE rejects_admin NOLOGIN; -- LOGIN and password: sys.f_user_set
  END IF;
  GRANT rejects_user TO rejects_admin;
  FOR r IN SELECT c_sys_name FROM sys.t_access_right LOOP
    PERFORM sys.f_right_role_make(r.c_sys_name);
  END LOOP;
END
$$;

-- ------------------------------------------------------ table rights -----

REVOKE ALL ON SCHEMA sys, docs, qms, prod, dirs, inv, jur, lrg, task FROM PUBLIC;
GRANT USAGE ON SCHEMA sys, docs, qms, prod, dirs, inv, jur, lrg, task TO rejects_user;
GRANT USAGE ON SCHEMA sys TO rejects_login;

GRANT SELECT ON ALL TABLES IN SCHEMA sys, docs, qms, prod, dirs, inv, jur, lrg, task
  TO rejects_user;
GRANT USAGE, SELECT ON ALL SEQUENCES IN SCHEMA sys, docs, qms, prod, dirs, inv, jur, lrg, task
  TO rejects_user;
ALTER DEFAULT PRIVILEGES FOR ROLE rejects_owner
  IN SCHEMA sys, docs, qms, prod, dirs, inv, jur, lrg, task GRANT SELECT ON TABLES TO rejects_user;
ALTER DEFAULT PRIVILEGES FOR ROLE rejects_owner
  IN SCHEMA sys, docs, qms, prod, dirs, inv, jur, lrg, task
  GRANT USAGE, SELECT ON SEQUENCES TO rejects_user;

-- Password verifiers and failed logins: nobody but the owner.
REVOKE ALL ON sys.t_user_password, sys.t_login_attempt FROM rejects_user, PUBLIC;

-- Before login.
GRANT SELECT ON sys.t_script, sys.t_panel, sys.t_system_attr, sys.t_sys_attr TO rejects_login;

-- Every user: defects (the decision is checked by docs.f_process_exam_rights),
-- their documents, discussion, causes, notifications, attachments, own settings.
GRANT INSERT, UPDATE, DELETE ON docs.t_process_exam TO rejects_user;
GRANT INSERT, DELETE ON docs.t_doc TO rejects_user;
GRANT INSERT ON docs.t_process_exam_disc TO rejects_user;
GRANT INSERT, UPDATE, DELETE ON qms.tl_quality_control_works_reject, prod.tl_process_work_reject,
  qms.tl_reject_notification TO rejects_user;
GRANT INSERT, UPDATE, DELETE ON lrg.t_file, lrg.t_file_owner, lrg.t_file_help TO rejects_user;
GRANT INSERT, UPDATE, DELETE ON sys.t_user_attr TO rejects_user;

-- FAIL_CODE_CREATE: the fault dictionary.
GRANT INSERT, UPDATE, DELETE ON qms.t_fault_type, qms.t_fault_code TO rejects_r_fail_code_create;
-- ADMIN_MANUFACTURE: plan orders (repair plans) and what they need from the store.
GRANT INSERT, UPDATE, DELETE ON docs.t_plan_order, docs.t_store_order_content
  TO rejects_r_admin_manufacture;
-- TASK_CREATOR: tasks.
GRANT INSERT ON task.t_scheduler TO rejects_r_task_creator;
-- REJECT_SOLUTION: deciding defects (docs.f_process_exam_rights), merging
-- them, which moves the discussion, and the quality-control works opened
-- for their fault codes.
GRANT UPDATE (id_process_exam) ON docs.t_process_exam_disc TO rejects_r_reject_solution;
GRANT INSERT, UPDATE, DELETE ON qms.t_quality_control_works TO rejects_r_reject_solution;
-- TASK_EXECUTOR, REJECT_NOTIFICATION: who may be given tasks and notified;
-- they allow no writes.

-- Own settings only.
ALTER TABLE sys.t_user_attr ENABLE ROW LEVEL SECURITY;
DROP POLICY IF EXISTS t_user_attr_own ON sys.t_user_attr;
CREATE POLICY t_user_attr_own ON sys.t_user_attr
  USING (id_user = sys.f_user_id()) WITH CHECK (id_user = sys.f_user_id());

-- Counters are taken, never written directly.
ALTER FUNCTION sys.f_counter_next(text) SECURITY DEFINER SET search_path = pg_catalog, pg_temp;

-- ------------------------------------------------- function rights -----

REVOKE ALL ON FUNCTION sys.f_user_create(text, text, text), sys.f_user_grant(text, text),
  sys.f_user_revoke(text, text), sys.f_user_set(text, text, text),
  sys.f_right_role_make(text), sys.f_login_begin(text), sys.f_login_finish(text, text),
  sys.f_counter_next(text) FROM PUBLIC;
GRANT EXECUTE ON FUNCTION sys.f_user_create(text, text, text), sys.f_user_grant(text, text),
  sys.f_user_revoke(text, text) TO rejects_admin;
GRANT EXECUTE ON FUNCTION sys.f_login_begin(text), sys.f_login_finish(text, text)
  TO rejects_login, rejects_user;
GRANT EXECUTE ON FUNCTION sys.f_counter_next(text) TO rejects_user;

-- ------------------------------------------- the built-in administrator -----

SELECT sys.f_user_set('', 'Администратор',
                      coalesce(nullif(current_setting('rejects.admin_verifier', true), ''),
                               sys.f_scram_verifier('admin')))
 WHERE NOT EXISTS (SELECT 1 FROM sys.t_user WHERE c_login = '');

INSERT INTO sys.t_system_attr (c_name, c_value, c_description)
SELECT 'superAdminId', CAST(id AS text), 'Встроенный администратор' FROM sys.t_user WHERE c_login = ''
ON CONFLICT (c_name) DO NOTHING;
