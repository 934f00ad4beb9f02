-- Initial content of a new database: the built-in administrator, the rights
-- catalogue, system attributes and the panel list. The creation script is
-- preceded by SET commands of the driver:
--   rejects.admin_password  password of the built-in administrator ("admin")
--   rejects.file_path       the shared file storage directory

INSERT INTO sys.t_user (c_login, c_name, c_password)
VALUES ('', 'Администратор',
        crypt(coalesce(nullif(current_setting('rejects.admin_password', true), ''), 'admin'),
              gen_salt('bf')));

INSERT INTO sys.t_system_attr (c_name, c_value, c_description)
SELECT 'superAdminId', id::text, 'Встроенный администратор' FROM sys.t_user WHERE c_login = '';

INSERT INTO sys.t_system_attr (c_name, c_value, c_description)
VALUES ('FilePath',
        coalesce(nullif(current_setting('rejects.file_path', true), ''), '/tmp/rejects-files'),
        'Каталог хранения файлов');

INSERT INTO sys.t_panel (c_name, c_library, c_caption, n_order)
VALUES ('rejects', 'rejects', 'Учет брака', 10);
