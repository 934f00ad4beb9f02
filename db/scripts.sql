-- The script store: every named script of the system by its exact name.
-- Placeholders (:name) are found by splitting the text on blanks, commas and
-- parentheses, so a placeholder is always followed by one of those (or by a
-- blank before a closing semicolon), and casts are written CAST(:x AS type).

--
-- Selects return the fields their tables and dialogs read; inserts and
-- updates return the stored row, so that the table takes the values the
-- database decided (keys, document numbers, codes, status texts).
-- Scripts run with positional values (PROC_EXAM_MERGE, FILE_BYTEA_INSERT,
-- FILE_OWNER_COPY, DOC_TEMPLATE_SELECT_ONCE) name each placeholder once, in
-- the order of the values, and do not use :UserID.
-- Updates of records that several users change (the register, the fault
-- dictionary, order items, stored files) take the row version the client
-- read (:n_version): the database refuses a stale one and names who changed
-- the record (sys.f_row_version). Without a version only the given fields
-- change.

-- ------------------------------------------------------------ defects -----

INSERT INTO sys.t_script (c_name, c_text, c_description) VALUES
('PROC_EXAM_SELECT',
 $q$SELECT id, n_pics, d_create, c_name, c_plan_order, c_version, c_exam_stage, c_serial, c_fault, c_description, c_status, c_solution, b_reject, id_plan_order, id_product_version, id_fault, id_production_group_content, c_exam_stage_sys_name, b_reaction, c_creator, id_plan_order_repair, c_plan_order_repair, id_creator, id_exam_stage, c_fault_description, d_solution, n_version FROM docs.v_process_exam ORDER BY d_create DESC, id DESC ;$q$,
 'Реестр дефектов'),
('PROC_EXAM_INSERT',
 $q$SELECT * FROM docs.f_process_exam_insert(CAST(:UserID AS bigint), CAST(:c_exam_stage_sys_name AS text), NULLIF(CAST(:id_fault AS bigint), 0), NULLIF(CAST(:id_plan_order AS bigint), 0), NULLIF(CAST(:id_production_group_content AS bigint), 0), NULLIF(CAST(:id_product_version AS bigint), 0), CAST(:c_description AS text), CAST(:c_solution AS text), CAST(:b_reject AS boolean), CAST(:b_reaction AS boolean), NULLIF(CAST(:id_plan_order_repair AS bigint), 0)) ;$q$,
 'Новый дефект; номер документа и статус назначает база'),
('PROC_EXAM_UPDATE',
 $q$SELECT * FROM docs.f_process_exam_update(CAST(:id AS bigint), CAST(:UserID AS bigint), CAST(:c_exam_stage_sys_name AS text), NULLIF(CAST(:id_fault AS bigint), 0), NULLIF(CAST(:id_plan_order AS bigint), 0), NULLIF(CAST(:id_production_group_content AS bigint), 0), NULLIF(CAST(:id_product_version AS bigint), 0), CAST(:c_description AS text), CAST(:c_solution AS text), CAST(:b_reject AS boolean), CAST(:b_reaction AS boolean), NULLIF(CAST(:id_plan_order_repair AS bigint), 0), CAST(:n_version AS integer) ) ;$q$,
 'Изменение дефекта; устаревшая версия записи или удаленный дефект - отказ'),
('PROC_EXAM_DELETE',
 $q$SELECT id, c_name FROM docs.f_process_exam_delete(CAST(:id AS bigint)) ;$q$,
 'Удаление непроанализированного дефекта'),
('PROC_EXAM_MERGE',
 $q$SELECT * FROM docs.f_process_exam_merge(CAST(:id_target AS bigint), CAST(:id_source AS bigint)) ;$q$,
 'Объединение дефектов: (приемник, источник)'),
('PROC_EXAM_STAGE_SELECT',
 $q$SELECT id, c_name, c_sys_name FROM qms.t_exam_stage ORDER BY n_order, c_name ;$q$,
 'Этапы отбора'),
('PROC_EXAM_DISC_SELECT',
 $q$SELECT id, d_create, c_author, c_text, id_process_exam, id_author FROM docs.t_process_exam_disc WHERE id_process_exam = CAST(:id_process_exam AS bigint) ORDER BY d_create, id ;$q$,
 'Обсуждение дефекта'),
('PROC_EXAM_DISC_INSERT',
 $q$INSERT INTO docs.t_process_exam_disc (id_process_exam, id_author, c_author, c_text) SELECT CAST(:id_process_exam AS bigint), u.id, coalesce(NULLIF(CAST(:c_author AS text), ''), u.c_name, ''), CAST(:c_text AS text) FROM (SELECT CAST(:UserID AS bigint) AS id_user) p LEFT JOIN sys.t_user u ON u.id = p.id_user RETURNING id, d_create, c_author, c_text, id_process_exam, id_author ;$q$,
 'Новая запись обсуждения'),

-- ------------------------------------------------- causes and links -----

('PROCESS_WORK_REJECT_SELECT',
 $q$SELECT id, id_process_exam, id_process_work FROM prod.tl_process_work_reject WHERE id_process_exam = CAST(:id_process_exam AS bigint) ORDER BY id ;$q$,
 'Производственные работы - причины дефекта'),
('PROCESS_WORK_REJECT_INSERT',
 $q$INSERT INTO prod.tl_process_work_reject AS r (id_process_exam, id_process_work) VALUES (CAST(:id_process_exam AS bigint), CAST(:id_process_work AS bigint)) ON CONFLICT (id_process_exam, id_process_work) DO UPDATE SET id_process_work = EXCLUDED.id_process_work RETURNING r.id, r.id_process_exam, r.id_process_work ;$q$,
 'Привязка производственной работы к дефекту'),
('PROCESS_WORK_REJECT_DELETE',
 $q$DELETE FROM prod.tl_process_work_reject WHERE id = CAST(:id AS bigint) OR (id_process_exam = CAST(:id_process_exam AS bigint) AND id_process_work = CAST(:id_process_work AS bigint) ) RETURNING id, id_process_exam, id_process_work ;$q$,
 'Отвязка производственной работы'),
('QUALITY_CONTROL_WORKS_REJECT_SELECT',
 $q$SELECT id, id_process_exam, id_quality_control_works FROM qms.tl_quality_control_works_reject WHERE id_process_exam = CAST(:id_process_exam AS bigint) ORDER BY id ;$q$,
 'Работы по качеству - причины дефекта'),
('QUALITY_CONTROL_WORKS_REJECT_INSERT',
 $q$INSERT INTO qms.tl_quality_control_works_reject AS r (id_process_exam, id_quality_control_works) VALUES (CAST(:id_process_exam AS bigint), CAST(:id_quality_control_works AS bigint)) ON CONFLICT (id_process_exam, id_quality_control_works) DO UPDATE SET id_quality_control_works = EXCLUDED.id_quality_control_works RETURNING r.id, r.id_process_exam, r.id_quality_control_works ;$q$,
 'Привязка работы по качеству к дефекту'),
('QUALITY_CONTROL_WORKS_REJECT_DELETE',
 $q$DELETE FROM qms.tl_quality_control_works_reject WHERE id = CAST(:id AS bigint) OR (id_process_exam = CAST(:id_process_exam AS bigint) AND id_quality_control_works = CAST(:id_quality_control_works AS bigint) ) RETURNING id, id_process_exam, id_quality_control_works ;$q$,
 'Отвязка работы по качеству'),
('REJECT_NOTIFICATION_SELECT',
 $q$SELECT rn.id, rn.id_process_exam, rn.id_user, u.c_name AS c_user FROM qms.tl_reject_notification rn JOIN sys.t_user u ON u.id = rn.id_user WHERE rn.id_process_exam = CAST(:id_process_exam AS bigint) ORDER BY u.c_name ;$q$,
 'Пользователи, уведомляемые о дефекте'),
('REJECT_NOTIFICATION_INSERT',
 $q$WITH i AS (INSERT INTO qms.tl_reject_notification AS r (id_process_exam, id_user) VALUES (CAST(:id_process_exam AS bigint), CAST(:id_user AS bigint)) ON CONFLICT (id_process_exam, id_user) DO UPDATE SET id_user = EXCLUDED.id_user RETURNING r.id, r.id_process_exam, r.id_user) SELECT i.id, i.id_process_exam, i.id_user, u.c_name AS c_user FROM i JOIN sys.t_user u ON u.id = i.id_user ;$q$,
 'Уведомить пользователя о дефекте'),
('REJECT_NOTIFICATION_DELETE',
 $q$DELETE FROM qms.tl_reject_notification WHERE id = CAST(:id AS bigint) OR (id_process_exam = CAST(:id_process_exam AS bigint) AND id_user = CAST(:id_user AS bigint) ) RETURNING id, id_process_exam, id_user ;$q$,
 'Снять уведомление'),

-- ------------------------------------------------ fault dictionary -----

('FAULT_TYPE_SELECT',
 $q$SELECT id, c_name, c_sys_name, c_prefix, n_version FROM qms.t_fault_type ORDER BY c_name ;$q$,
 'Типы дефектов'),
('FAULT_TYPE_INSERT',
 $q$INSERT INTO qms.t_fault_type (c_name, c_sys_name, c_prefix) VALUES (CAST(:c_name AS text), trim(CAST(:c_sys_name AS text) ), coalesce(CAST(:c_prefix AS text), '')) RETURNING id, c_name, c_sys_name, c_prefix, n_version ;$q$,
 'Новый тип дефекта со своим счетчиком'),
('FAULT_TYPE_UPDATE',
 $q$UPDATE qms.t_fault_type SET c_name = coalesce(CAST(:c_name AS text), c_name), c_prefix = coalesce(CAST(:c_prefix AS text), c_prefix), n_version = coalesce(CAST(:n_version AS integer), n_version), id_changer = CAST(:UserID AS bigint) WHERE c_sys_name = CAST(:c_sys_name AS text) RETURNING id, c_name, c_sys_name, c_prefix, n_version ;$q$,
 'Изменение типа дефекта (по системному имени счетчика)'),
('FAULT_TYPE_DELETE',
 $q$DELETE FROM qms.t_fault_type WHERE c_sys_name = CAST(:c_sys_name AS text) RETURNING id, c_name, c_sys_name, c_prefix, n_version ;$q$,
 'Удаление типа дефекта без кодов'),
('FAULT_CODE_SELECT',
 $q$SELECT id, c_name, c_description, id_type, n_version FROM qms.t_fault_code ORDER BY id_type, id ;$q$,
 'Коды дефектов'),
('FAULT_CODE_INSERT',
 $q$SELECT id, c_name, c_description, id_type, n_version FROM qms.f_fault_code_insert(CAST(:id_type AS bigint), CAST(:c_description AS text)) ;$q$,
 'Новый код дефекта: префикс типа и следующий номер счетчика'),
('FAULT_CODE_UPDATE',
 $q$UPDATE qms.t_fault_code SET c_description = coalesce(CAST(:c_description AS text), c_description), id_type = coalesce(CAST(:id_type AS bigint), id_type), n_version = coalesce(CAST(:n_version AS integer), n_version), id_changer = CAST(:UserID AS bigint) WHERE id = CAST(:id AS bigint) RETURNING id, c_name, c_description, id_type, n_version ;$q$,
 'Изменение описания или типа кода'),
('FAULT_CODE_DELETE',
 $q$DELETE FROM qms.t_fault_code WHERE id = CAST(:id AS bigint) RETURNING id, c_name, c_description, id_type, n_version ;$q$,
 'Удаление неиспользуемого кода'),

-- --------------------------------------------- plans and production -----

('PROD_UNITS_SELECT',
 $q$SELECT id, c_name, c_short_name FROM prod.t_reference_units ORDER BY c_name ;$q$,
 'Участки производства'),
('ITEM_FAMILY_BY_UNIT_SELECT',
 $q$SELECT v.id, inv.c_full_version_name(v.id) AS c_name, u.c_name AS c_sys_name, u.id AS id_unit FROM prod.tl_unit_product_version l JOIN prod.t_reference_units u ON u.id = l.id_unit JOIN inv.t_product_version v ON v.id = l.id_product_version ORDER BY u.c_name, 2 ;$q$,
 'Изделия (версии), выпускаемые участками; c_sys_name - участок'),
('PLAN_ORDER_FOR_REJECT_SELECT',
 $q$SELECT po.id, po.id_doc, po.id_unit, po.id_prod_ver, d.c_name AS c_plan_name, inv.c_full_version_name(po.id_prod_ver) AS c_prod_ver, po.c_coment, po.n_qnt, po.d_create, po.d_close, ru.c_name AS c_unit FROM docs.t_plan_order po JOIN docs.t_doc d ON d.id = po.id_doc JOIN prod.t_reference_units ru ON ru.id = po.id_unit CROSS JOIN (SELECT CAST(:id_unit AS bigint) AS id_unit, CAST(:id_version AS bigint) AS id_version, NULLIF(trim(CAST(:c_serial AS text) ), '') AS c_serial) p WHERE po.id_prod_ver IS NOT NULL AND NOT po.b_is_del AND NOT d.b_is_del AND (p.id_unit IS NULL OR po.id_unit = p.id_unit) AND (p.id_version IS NULL OR po.id_prod_ver = p.id_version) AND (p.c_serial IS NULL OR EXISTS (SELECT 1 FROM docs.t_production_group_content pgc WHERE pgc.id_plan_order = po.id AND pgc.c_serial ILIKE '%' || sys.f_like_escape(p.c_serial) || '%')) ORDER BY po.d_create DESC, po.id DESC ;$q$,
 'Производственные планы для дефекта: участок, изделие, часть серийного номера (пустые - без отбора)'),
('PLAN_ORDER_TYPE_SELECT',
 $q$SELECT id, c_name FROM docs.t_plan_order_type ORDER BY c_name ;$q$,
 'Типы планов'),
('PLAN_ORDER_INSERT',
 $q$SELECT id, c_name, c_coment, id_unit, id_prod_ver, id_type, n_priority, n_qnt, d_shipment_plan, id_state, id_store_order FROM docs.f_plan_order_insert(CAST(:UserID AS bigint), CAST(:id_type AS bigint), CAST(:id_unit AS bigint), NULLIF(CAST(:id_prod_ver AS bigint), 0), CAST(:c_coment AS text), CAST(:n_priority AS integer), CAST(:n_qnt AS integer), CAST(:d_shipment_plan AS date)) ;$q$,
 'Новый (ремонтный) план'),
('PLAN_ORDER_CONTENT_SELECT',
 $q$SELECT c.id, c.id_store_order, c.id_item_family, f.c_name, c.n_qnt_require, c.n_qnt_giveout, c.n_version FROM docs.t_store_order_content c JOIN dirs.t_item_family f ON f.id = c.id_item_family WHERE c.id_store_order = CAST(:id_store_order AS bigint) ORDER BY f.c_name, c.id ;$q$,
 'Состав заказа на склад по плану'),
('PLAN_ORDER_CONTENT_INSERT',
 $q$WITH i AS (INSERT INTO docs.t_store_order_content (id_store_order, id_item_family, n_qnt_require, n_qnt_giveout) VALUES (CAST(:id_store_order AS bigint), CAST(:id_item_family AS bigint), CAST(:n_qnt_require AS numeric), CAST(:n_qnt_giveout AS numeric)) RETURNING *) SELECT i.id, i.id_store_order, i.id_item_family, f.c_name, i.n_qnt_require, i.n_qnt_giveout, i.n_version FROM i JOIN dirs.t_item_family f ON f.id = i.id_item_family ;$q$,
 'Новая позиция заказа'),
('PLAN_ORDER_CONTENT_UPDATE',
 $q$WITH u AS (UPDATE docs.t_store_order_content SET id_item_family = coalesce(CAST(:id_item_family AS bigint), id_item_family), n_qnt_require = coalesce(CAST(:n_qnt_require AS numeric), n_qnt_require), n_qnt_giveout = CASE WHEN CAST(:n_version AS integer) IS NULL THEN coalesce(CAST(:n_qnt_giveout AS numeric), n_qnt_giveout) ELSE CAST(:n_qnt_giveout AS numeric) END, n_version = coalesce(CAST(:n_version AS integer), n_version), id_changer = CAST(:UserID AS bigint) WHERE id = CAST(:id AS bigint) RETURNING *) SELECT u.id, u.id_store_order, u.id_item_family, f.c_name, u.n_qnt_require, u.n_qnt_giveout, u.n_version FROM u JOIN dirs.t_item_family f ON f.id = u.id_item_family ;$q$,
 'Изменение позиции заказа'),
('PLAN_ORDER_CONTENT_DELETE',
 $q$DELETE FROM docs.t_store_order_content WHERE id = CAST(:id AS bigint) RETURNING id, id_store_order, id_item_family ;$q$,
 'Удаление позиции заказа'),

-- -------------------------------------------------- items, products -----

('ALL_ITEM_TYPE_SELECT',
 $q$SELECT id, id_parent, c_name FROM dirs.t_item_type ORDER BY c_name, id ;$q$,
 'Типы складских элементов (иерархия)'),
('ALL_ITEM_FAMILY_SELECT',
 $q$SELECT f.id, f.id_type, f.c_name, f.c_part_num, f.id_meas_unit, m.c_short_name AS c_meas_unit FROM dirs.t_item_family f LEFT JOIN dirs.t_meas_unit m ON m.id = f.id_meas_unit ORDER BY f.c_name, f.id ;$q$,
 'Семейства складских элементов'),
('FAMILY_IN_STORAGE_SELECT',
 $q$SELECT s.id, s.id_item_family, s.id_store, st.c_name AS c_store, s.n_qty FROM dirs.t_item_family_store s JOIN dirs.t_store st ON st.id = s.id_store ORDER BY s.id_item_family, st.c_name ;$q$,
 'Остатки семейств на складах'),
('TYPES_FOR_PRODUCTS_SELECT',
 $q$SELECT id, id_parent, c_name FROM inv.t_product_type ORDER BY c_name, id ;$q$,
 'Типы изделий (иерархия)'),
('PRODUCT_SELECT',
 $q$SELECT id, id_type, c_name, b_virtual FROM inv.t_product ORDER BY c_name, id ;$q$,
 'Изделия'),
('PRODUCT_VERSION_SELECT',
 $q$SELECT v.id, v.id_product, v.c_name, v.c_part_num, inv.c_full_version_name(v.id) AS c_full_name FROM inv.t_product_version v ORDER BY v.c_name, v.id ;$q$,
 'Версии изделий'),

-- ----------------------------------------------------- users, tasks -----

('GET_USER_BY_RIGHT',
 $q$SELECT DISTINCT u.id, u.c_name, u.c_login FROM sys.t_user u JOIN sys.tl_user_access_right ur ON ur.id_user = u.id JOIN sys.t_access_right r ON r.id = ur.id_access_right WHERE u.b_active AND r.c_sys_name IN (SELECT trim(x) FROM unnest(string_to_array(CAST(:c_right_list AS text), ',')) x) ORDER BY u.c_name, u.id ;$q$,
 'Пользователи с одним из прав (список через запятую)'),
('USER_ATTR_READ',
 $q$SELECT c_value, n_type FROM sys.t_user_attr WHERE id_user = CAST(:UserID AS bigint) AND c_group = CAST(:group AS text) AND c_key = CAST(:key AS text) ;$q$,
 'Настройка пользователя: значение и тип'),
('USER_ATTR_WRITE',
 $q$INSERT INTO sys.t_user_attr AS a (id_user, c_group, c_key, c_value, n_type) VALUES (CAST(:UserID AS bigint), CAST(:group AS text), CAST(:key AS text), CAST(:value AS text), CAST(:type AS integer)) ON CONFLICT (id_user, c_group, c_key) DO UPDATE SET c_value = EXCLUDED.c_value, n_type = EXCLUDED.n_type RETURNING c_value, n_type ;$q$,
 'Сохранение настройки пользователя'),

-- ------------------------------------------------------------- files -----

('FILE_OWNER_SELECT',
 $q$SELECT id, c_table, n_key, c_comment, c_file, n_crc, n_size, id_creator, d_create, bl_file, id_file_owner, c_creator, n_version FROM lrg.v_file_owner WHERE c_table = CAST(:c_table AS text) AND n_key = CAST(:n_key AS bigint) ORDER BY id_file_owner ;$q$,
 'Вложения записи (id - идентификатор файла)'),
('FILE_OWNER_INSERT',
 $q$SELECT id, c_table, n_key, c_comment, c_file, n_crc, n_size, id_creator, d_create, id_file_owner, c_creator, n_version FROM lrg.f_file_owner_insert(CAST(:id AS bigint), CAST(:c_table AS text), CAST(:n_key AS bigint), CAST(:c_file AS text), CAST(:c_comment AS text), CAST(:n_crc AS bigint), CAST(:n_size AS bigint), CAST(:UserID AS bigint)) ;$q$,
 'Прикрепить файл к записи'),
('FILE_OWNER_UPDATE',
 $q$WITH u AS (UPDATE lrg.t_file SET c_comment = CASE WHEN CAST(:n_version AS integer) IS NULL THEN coalesce(CAST(:c_comment AS text), c_comment) ELSE CAST(:c_comment AS text) END, n_version = coalesce(CAST(:n_version AS integer), n_version), id_changer = CAST(:UserID AS bigint) WHERE id = CAST(:id AS bigint) RETURNING *) SELECT u.id, o.c_table, o.n_key, u.c_comment, u.c_file, u.n_crc, u.n_size, u.id_creator, u.d_create, o.id AS id_file_owner, u.n_version FROM u JOIN lrg.t_file_owner o ON o.id_file = u.id AND o.c_table = CAST(:c_table AS text) AND o.n_key = CAST(:n_key AS bigint) ;$q$,
 'Изменение описания файла'),
('FILE_OWNER_DELETE',
 $q$SELECT id, b_file_deleted FROM lrg.f_file_owner_delete(CAST(:id AS bigint), CAST(:c_table AS text), CAST(:n_key AS bigint), CAST(:UserID AS bigint)) ;$q$,
 'Открепить файл; файл без владельцев удаляется из хранилища'),
('FILE_OWNER_COPY',
 $q$INSERT INTO lrg.t_file_owner AS o (c_table, n_key, id_file) VALUES (CAST(:c_table AS text), CAST(:n_key AS bigint), CAST(:id_file AS bigint)) ON CONFLICT (id_file, c_table, n_key) DO UPDATE SET n_key = EXCLUDED.n_key RETURNING o.id_file AS id, o.c_table, o.n_key, o.id AS id_file_owner ;$q$,
 'Прикрепить хранимый файл: (таблица владельца, ключ, id файла)'),
('FILE_BYTEA_INSERT',
 $q$SELECT id, c_file, n_size FROM lrg.f_file_bytea_insert(CAST(:c_file AS text), CAST(:bl_file AS bytea), CAST(:b_help AS boolean)) ;$q$,
 'Сохранить содержимое файла в базе: (имя, байты, справка)'),
('FILE_USE_SELECT',
 $q$SELECT id, c_table, n_key, c_description, c_name FROM lrg.f_file_use(CAST(:id AS bigint)) ;$q$,
 'Где используется файл'),

-- --------------------------------------------------------- templates -----

('DOC_TEMPLATE_SELECT_GROUP',
 $q$SELECT id, c_type, c_name, c_description FROM docs.t_doc_template WHERE c_type = CAST(:c_type AS text) ORDER BY c_name, id ;$q$,
 'Шаблоны документов одного типа'),
('DOC_TEMPLATE_SELECT_ONCE',
 $q$SELECT id, c_type, c_name, c_html, c_script FROM docs.t_doc_template WHERE id = CAST(:id AS bigint) ;$q$,
 'Шаблон документа: (id)'),
('PROC_EXAM_SELECT_ONCE',
 $q$SELECT id, c_name, d_create, c_version, c_exam_stage, c_serial, c_fault, c_fault_description, c_description, c_status, c_solution, d_solution, b_reject, b_reaction, c_creator, c_plan_order FROM docs.v_process_exam WHERE id = CAST(:id AS bigint) ;$q$,
 'Один дефект для документов по шаблонам');
