-- Initial content of a new database: the rights catalogue, system
-- attributes and the panel list (the built-in administrator: db/rights.sql).
-- The creation script is preceded by SET commands of the driver:
--   rejects.admin_verifier  SCRAM verifier of the administrator's password
--                           (without it the password is "admin")
--   rejects.file_path       the shared file storage directory

INSERT INTO sys.t_system_attr (c_name, c_value, c_description)
VALUES ('FilePath',
        coalesce(nullif(current_setting('rejects.file_path', true), ''), '/tmp/rejects-files'),
        'Каталог хранения файлов');

INSERT INTO sys.t_panel (c_name, c_library, c_caption, n_order)
VALUES ('rejects', 'rejects', 'Учет брака', 10);

INSERT INTO sys.t_system_attr (c_name, c_value, c_description)
VALUES ('FileHelpPath',
        coalesce(nullif(current_setting('rejects.file_path', true), ''), '/tmp/rejects-files')
          || '/help',
        'Каталог хранения справки');

-- Rights the system asks for by name (canDo).
INSERT INTO sys.t_access_right (c_sys_name, c_name) VALUES
  ('REJECT_SOLUTION', 'Принятие решения по дефекту'),
  ('FAIL_CODE_CREATE', 'Ведение справочника кодов дефектов'),
  ('TASK_CREATOR', 'Постановка задач'),
  ('TASK_EXECUTOR', 'Исполнитель задач'),
  ('ADMIN_MANUFACTURE', 'Администрирование производства (ремонтные планы)'),
  ('REJECT_NOTIFICATION', 'Получение уведомлений о дефектах');

-- States of plan orders; a plan in state 2 is closed.
INSERT INTO docs.t_plan_order_state (id, c_name) VALUES
  (1, 'Открыт'),
  (2, 'Закрыт'),
  (3, 'В работе');
