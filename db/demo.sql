-- Demo register of a small electronics plant: production units, products,
-- plans with serial numbers, inspection stages, the fault dictionary,
-- quality-control and production works, customer appeals, users with their
-- rights and a set of open and decided defects with discussion and pictures.
-- Loads after schema.sql, scripts.sql, init.sql, users.sql and rights.sql,

-- -------------------------------------------------------------- users -----

-- Users and their rights through the administrator's functions, which make
-- each user's login role and grant the rights' roles. Every password equals
-- the login.
SELECT sys.f_user_create(x.c_login, x.c_name, x.c_login)
  FROM (VALUES ('kuznetsova', 'Кузнецова А.С.'), ('guest', 'Гость'), ('petrov', 'Петров И.В.'),
               ('sidorova', 'Сидорова Е.Н.'), ('volkov', 'Волков Д.А.'),
               ('ivanova', 'Иванова О.П.'), ('smirnov', 'Смирнов П.К.'),
               ('orlov', 'Орлов В.В.')) AS x (c_login, c_name);

UPDATE sys.t_user u SET c_phone = x.c_phone, c_email = x.c_email
  FROM (VALUES ('kuznetsova', '+7 (495) 123-45-01', 'kuznetsova@example.ru'),
               ('petrov', '+7 (495) 123-45-02', 'petrov@example.ru'),
               ('sidorova', '+7 (495) 123-45-03', 'sidorova@example.ru'),
               ('volkov', '+7 (495) 123-45-04', 'volkov@example.ru'),
               ('ivanova', '+7 (495) 123-45-05', 'ivanova@example.ru')) AS x (c_login, c_phone, c_email)
 WHERE u.c_login = x.c_login;

-- Кузнецова, инженер по качеству, holds every right; the guest none.
SELECT sys.f_user_grant('kuznetsova', c_sys_name) FROM sys.t_access_right ORDER BY id;

SELECT sys.f_user_grant(x.c_login, x.c_right)
  FROM (VALUES ('petrov', 'TASK_EXECUTOR'), ('petrov', 'REJECT_NOTIFICATION'),
               ('sidorova', 'TASK_EXECUTOR'), ('sidorova', 'TASK_CREATOR'),
               ('sidorova', 'REJECT_NOTIFICATION'),
               ('volkov', 'ADMIN_MANUFACTURE'), ('volkov', 'TASK_CREATOR'),
               ('volkov', 'REJECT_NOTIFICATION'),
               ('ivanova', 'FAIL_CODE_CREATE'), ('ivanova', 'REJECT_NOTIFICATION'),
               ('ivanova', 'TASK_EXECUTOR')) AS x (c_login, c_right);

-- ------------------------------------------------- production units -----

INSERT INTO prod.t_reference_units (c_name, c_short_name) VALUES
  ('Цех сборки печатных плат', 'ЦСП'),
  ('Участок механообработки', 'УМО'),
  ('Участок окраски', 'УО'),
  ('Цех финальной сборки', 'ЦФС');

-- ------------------------------------------------------------ products -----

INSERT INTO inv.t_product_type (c_name) VALUES
  ('Источники питания'), ('Контроллеры'), ('Шкафы и корпусные изделия');
INSERT INTO inv.t_product_type (id_parent, c_name)
SELECT id, 'Модульные источники питания' FROM inv.t_product_type WHERE c_name = 'Источники питания';

INSERT INTO inv.t_product (id_type, c_name, b_virtual)
SELECT t.id, x.c_name, x.b_virtual
  FROM (VALUES ('Модульные источники питания', 'Блок питания БП-24', false),
               ('Модульные источники питания', 'Блок питания БП-48', false),
               ('Контроллеры', 'Контроллер КМ-3', false),
               ('Контроллеры', 'Модуль ввода МВ-8', false),
               ('Шкафы и корпусные изделия', 'Шкаф управления ШУ-10', false),
               ('Шкафы и корпусные изделия', 'Комплект ЗИП ШУ-10', true)) AS x (c_type, c_name, b_virtual)
  JOIN inv.t_product_type t ON t.c_name = x.c_type;

INSERT INTO inv.t_product_version (id_product, c_name, c_part_num)
SELECT p.id, x.c_name, x.c_part_num
  FROM (VALUES ('Блок питания БП-24', 'ред. 2', 'АБВГ.436534.001-01'),
               ('Блок питания БП-24', 'ред. 3', 'АБВГ.436534.001-02'),
               ('Блок питания БП-48', 'ред. 1', 'АБВГ.436534.002'),
               ('Контроллер КМ-3', 'исп. 01', 'АБВГ.421457.010'),
               ('Контроллер КМ-3', 'исп. 02', 'АБВГ.421457.010-01'),
               ('Модуль ввода МВ-8', 'ред. 1', 'АБВГ.426439.005'),
               ('Шкаф управления ШУ-10', 'ред. 1', 'АБВГ.301221.010'),
               ('Комплект ЗИП ШУ-10', 'ред. 1', 'АБВГ.305651.010')) AS x (c_product, c_name, c_part_num)
  JOIN inv.t_product p ON p.c_name = x.c_product;

-- БП-24 ред. 2 and ред. 3 replace each other, as do both КМ-3 designs;
-- БП-48 may replace БП-24 ред. 3.
INSERT INTO inv.tl_version_analog (id_version, id_analog)
SELECT a.id, b.id
  FROM (VALUES ('АБВГ.436534.001-01', 'АБВГ.436534.001-02'),
               ('АБВГ.421457.010', 'АБВГ.421457.010-01'),
               ('АБВГ.436534.001-02', 'АБВГ.436534.002')) AS x (a, b)
  JOIN inv.t_product_version a ON a.c_part_num = x.a
  JOIN inv.t_product_version b ON b.c_part_num = x.b;

INSERT INTO prod.tl_unit_product_version (id_unit, id_product_version)
SELECT u.id, v.id
  FROM (VALUES ('Цех сборки печатных плат', 'АБВГ.436534.001-01'),
               ('Цех сборки печатных плат', 'АБВГ.436534.001-02'),
               ('Цех сборки печатных плат', 'АБВГ.436534.002'),
               ('Цех сборки печатных плат', 'АБВГ.421457.010'),
               ('Цех сборки печатных плат', 'АБВГ.421457.010-01'),
               ('Цех сборки печатных плат', 'АБВГ.426439.005'),
               ('Цех финальной сборки', 'АБВГ.301221.010'),
               ('Участок механообработки', 'АБВГ.301221.010')) AS x (c_unit, c_part_num)
  JOIN prod.t_reference_units u ON u.c_name = x.c_unit
  JOIN inv.t_product_version v ON v.c_part_num = x.c_part_num;

INSERT INTO inv.t_process_technology (id_product_version, c_number, c_name)
SELECT v.id, x.c_number, x.c_name
  FROM (VALUES ('АБВГ.436534.001-02', 'ТП-101', 'Монтаж печатной платы БП-24'),
               ('АБВГ.436534.001-02', 'ТП-102', 'Сборка и регулировка БП-24'),
               ('АБВГ.436534.002', 'ТП-111', 'Монтаж печатной платы БП-48'),
               ('АБВГ.421457.010-01', 'ТП-201', 'Монтаж контроллера КМ-3'),
               ('АБВГ.421457.010-01', 'ТП-202', 'Программирование и прогон КМ-3'),
               ('АБВГ.301221.010', 'ТП-301', 'Изготовление корпуса ШУ-10'),
               ('АБВГ.301221.010', 'ТП-302', 'Окраска корпуса ШУ-10'),
               ('АБВГ.301221.010', 'ТП-303', 'Сборка шкафа ШУ-10')) AS x (c_part_num, c_number, c_name)
  JOIN inv.t_product_version v ON v.c_part_num = x.c_part_num;

-- ------------------------------------------------------ stock items -----

INSERT INTO dirs.t_meas_unit (c_name, c_short_name, n_precission) VALUES
  ('штука', 'шт.', 0), ('метр', 'м', 2), ('килограмм', 'кг', 3), ('литр', 'л', 3);

INSERT INTO dirs.t_item_type (c_name) VALUES ('Электронные компоненты'), ('Крепеж'), ('Материалы');
INSERT INTO dirs.t_item_type (id_parent, c_name)
SELECT id, x.c_name FROM dirs.t_item_type
  CROSS JOIN (VALUES ('Конденсаторы'), ('Микросхемы'), ('Разъемы')) AS x (c_name)
 WHERE dirs.t_item_type.c_name = 'Электронные компоненты';
INSERT INTO dirs.t_item_type (id_parent, c_name)
SELECT id, 'Конденсаторы электролитические' FROM dirs.t_item_type WHERE c_name = 'Конденсаторы';

INSERT INTO dirs.t_item_family (id_type, id_meas_unit, c_name, c_part_num)
SELECT t.id, m.id, x.c_name, x.c_part_num
  FROM (VALUES ('Конденсаторы электролитические', 'шт.', 'Конденсатор 1000 мкФ 35 В', 'EEU-FR1V102'),
               ('Конденсаторы электролитические', 'шт.', 'Конденсатор 470 мкФ 63 В', 'EEU-FR1J471'),
               ('Конденсаторы', 'шт.', 'Конденсатор 0,1 мкФ 0805', 'GRM21BR71H104'),
               ('Микросхемы', 'шт.', 'Микросхема ШИМ-контроллера UC3843', 'UC3843BD1'),
               ('Микросхемы', 'шт.', 'Микроконтроллер STM32F103', 'STM32F103C8T6'),
               ('Разъемы', 'шт.', 'Клеммник винтовой 2 конт.', 'DG301-5.0-02P'),
               ('Крепеж', 'шт.', 'Винт М3х8 DIN 7985', 'DIN7985-M3x8'),
               ('Крепеж', 'шт.', 'Гайка М3 DIN 934', 'DIN934-M3'),
               ('Материалы', 'кг', 'Припой ПОС-61 проволока 1 мм', 'ПОС61-1.0'),
               ('Материалы', 'кг', 'Эмаль порошковая RAL 7035', 'RAL7035'),
               ('Материалы', 'м', 'Провод МГТФ 0,35', 'МГТФ-0.35')) AS x (c_type, c_unit, c_name, c_part_num)
  JOIN dirs.t_item_type t ON t.c_name = x.c_type
  JOIN dirs.t_meas_unit m ON m.c_short_name = x.c_unit;

INSERT INTO dirs.t_store (c_name) VALUES ('Склад комплектующих'), ('Склад материалов');
INSERT INTO dirs.t_item_family_store (id_store, id_item_family, n_qty)
SELECT s.id, f.id,
       CASE WHEN m.n_precission = 0 THEN 50 + (f.id * 37) % 900 ELSE round((f.id * 7.3) % 40, 3) END
  FROM dirs.t_item_family f
  JOIN dirs.t_meas_unit m ON m.id = f.id_meas_unit
  JOIN dirs.t_store s ON s.c_name = CASE WHEN m.n_precission = 0 THEN 'Склад комплектующих'
                                         ELSE 'Склад материалов' END;
INSERT INTO dirs.t_item (id_item_family, c_serial)
SELECT id, 'ПАРТ-' || to_char(id, 'FM0000') FROM dirs.t_item_family;

INSERT INTO dirs.t_equipment (c_tab_number, c_name) VALUES
  ('ИНВ-0012', 'Паяльная станция ПС-3'), ('ИНВ-0031', 'Печь оплавления ПО-5');
INSERT INTO dirs.t_equipment_repair (id_equipment, d_date, c_description)
SELECT id, current_date - 40, 'Замена нагревательного элемента' FROM dirs.t_equipment WHERE c_tab_number = 'ИНВ-0012';

-- ------------------------------------------------------------- plans -----

INSERT INTO docs.t_plan_order_type (c_name) VALUES ('Производственный'), ('Ремонтный'), ('Опытная партия');

-- Production plans, oldest first, so that the numbers follow the dates.
INSERT INTO docs.t_plan_order (id_doc, id_type, id_state, id_unit, id_prod_ver, c_coment, n_qnt,
                               n_priority, d_shipment_plan, d_create, d_close)
SELECT docs.f_doc_new('plan_order', (SELECT id FROM sys.t_user WHERE c_login = 'volkov')),
       t.id, x.id_state, u.id, v.id, x.c_coment, x.n_qnt, x.n_priority,
       current_date - x.n_days + 30, localtimestamp - make_interval(days => x.n_days),
       CASE WHEN x.id_state = 2 THEN localtimestamp - make_interval(days => x.n_days - 25) END
  FROM (VALUES (1, 'Производственный', 2, 'Цех сборки печатных плат', 'АБВГ.436534.001-01', 'Партия БП-24 для ООО «Энергосервис»', 20, 500, 150),
               (2, 'Производственный', 2, 'Цех сборки печатных плат', 'АБВГ.436534.001-02', 'Серийный выпуск БП-24, август', 30, 400, 110),
               (3, 'Опытная партия', 3, 'Цех сборки печатных плат', 'АБВГ.436534.002', 'Опытная партия БП-48', 5, 900, 80),
               (4, 'Производственный', 3, 'Цех сборки печатных плат', 'АБВГ.421457.010-01', 'КМ-3 для АО «Промавтоматика»', 25, 700, 60),
               (5, 'Производственный', 1, 'Цех финальной сборки', 'АБВГ.301221.010', 'Шкафы ШУ-10, заказ 118', 6, 600, 45),
               (6, 'Производственный', 1, 'Цех сборки печатных плат', 'АБВГ.426439.005', 'Модули МВ-8 на склад', 40, 300, 20)
       ) AS x (n, c_type, id_state, c_unit, c_part_num, c_coment, n_qnt, n_priority, n_days)
  JOIN docs.t_plan_order_type t ON t.c_name = x.c_type
  JOIN prod.t_reference_units u ON u.c_name = x.c_unit
  JOIN inv.t_product_version v ON v.c_part_num = x.c_part_num
 ORDER BY x.n;

-- Released units: one production group per plan, one serial per unit made.
INSERT INTO docs.t_production_group (id_doc, id_plan_order)
SELECT docs.f_doc_new('production_group', NULL), po.id FROM docs.t_plan_order po ORDER BY po.id;

INSERT INTO docs.t_production_group_content (id_production_group, id_plan_order, c_serial)
SELECT g.id, po.id,
       replace(substring(p.c_name FROM '[^ ]+$'), '-', '') || '-' || to_char(po.d_create, 'YYMM')
         || to_char(n, 'FM000')
  FROM docs.t_plan_order po
  JOIN docs.t_production_group g ON g.id_plan_order = po.id
  JOIN inv.t_product_version v ON v.id = po.id_prod_ver
  JOIN inv.t_product p ON p.id = v.id_product
  CROSS JOIN LATERAL generate_series(1, po.n_qnt) AS n;

-- Repair plans: one open without a defect yet, one bound to a defect below.
INSERT INTO docs.t_plan_order (id_doc, id_type, id_state, id_unit, c_coment, n_qnt, n_priority,
                               d_shipment_plan, d_create)
SELECT docs.f_doc_new('plan_order', (SELECT id FROM sys.t_user WHERE c_login = 'volkov')),
       (SELECT id FROM docs.t_plan_order_type WHERE c_name = 'Ремонтный'), 1, u.id, x.c_coment, 1,
       x.n_priority, current_date + 14, localtimestamp - make_interval(days => x.n_days)
  FROM (VALUES (1, 'Цех сборки печатных плат', 'Ремонт БП-24 по замечаниям ПСИ', 800, 12),
               (2, 'Участок окраски', 'Перекраска корпусов ШУ-10', 600, 5)) AS x (n, c_unit, c_coment, n_priority, n_days)
  JOIN prod.t_reference_units u ON u.c_name = x.c_unit
 ORDER BY x.n;

INSERT INTO docs.t_store_order_content (id_store_order, id_item_family, n_qnt_require, n_qnt_giveout)
SELECT po.id, f.id, x.n_qnt, x.n_giveout
  FROM (VALUES ('Конденсатор 1000 мкФ 35 В', 4, 4), ('Микросхема ШИМ-контроллера UC3843', 2, NULL),
               ('Припой ПОС-61 проволока 1 мм', 0.25, NULL)) AS x (c_family, n_qnt, n_giveout)
  JOIN dirs.t_item_family f ON f.c_name = x.c_family
  CROSS JOIN docs.t_plan_order po
 WHERE po.c_coment = 'Ремонт БП-24 по замечаниям ПСИ';

-- Production works done under the plans.
INSERT INTO prod.t_process_work (id_plan, id_process_technology, id_user, n_qty, c_description, d_create)
SELECT po.id, pt.id, u.id, x.n_qty, x.c_description, po.d_create + interval '3 days'
  FROM (VALUES ('Серийный выпуск БП-24, август', 'ТП-101', 'smirnov', 30, 'Монтаж плат, смена 1'),
               ('Серийный выпуск БП-24, август', 'ТП-102', 'orlov', 30, 'Сборка и регулировка'),
               ('Опытная партия БП-48', 'ТП-111', 'smirnov', 5, 'Ручной монтаж опытной партии'),
               ('КМ-3 для АО «Промавтоматика»', 'ТП-201', 'smirnov', 25, 'Монтаж на линии SMT'),
               ('КМ-3 для АО «Промавтоматика»', 'ТП-202', 'petrov', 25, 'Прошивка версии 2.4.1, прогон 24 ч'),
               ('Шкафы ШУ-10, заказ 118', 'ТП-301', 'orlov', 6, 'Гибка и сварка корпусов'),
               ('Шкафы ШУ-10, заказ 118', 'ТП-302', 'orlov', 6, 'Порошковая окраска RAL 7035'),
               ('Шкафы ШУ-10, заказ 118', 'ТП-303', 'petrov', 4, 'Сборка шкафов')) AS x (c_plan, c_tp, c_login, n_qty, c_description)
  JOIN docs.t_plan_order po ON po.c_coment = x.c_plan
  JOIN inv.t_process_technology pt ON pt.c_number = x.c_tp
  JOIN sys.t_user u ON u.c_login = x.c_login;

-- --------------------------------------------------- fault dictionary -----

INSERT INTO qms.t_exam_stage (c_name, c_sys_name, n_order) VALUES
  ('Входной контроль', 'INCOMING', 10),
  ('Межоперационный контроль', 'INTEROPERATION', 20),
  ('Технологический прогон', 'BURN_IN', 30),
  ('Приемо-сдаточные испытания', 'ACCEPTANCE', 40),
  ('Периодические испытания', 'PERIODIC', 50),
  ('Гарантийный ремонт', 'WARRANTY', 60);

INSERT INTO qms.t_fault_type (c_name, c_sys_name, c_prefix) VALUES
  ('Механические повреждения корпуса', 'MECH_CASE', 'MHCS-'),
  ('Дефекты пайки', 'SOLDERING', 'SLDR-'),
  ('Электрические параметры', 'ELECTRICAL', 'ELEC-'),
  ('Лакокрасочное покрытие', 'COATING', 'COAT-'),
  ('Комплектность', 'KIT', 'KIT-');

SELECT qms.f_fault_code_insert(t.id, x.c_description)
  FROM (VALUES (1, 'MECH_CASE', 'Царапина на лицевой панели'),
               (2, 'MECH_CASE', 'Вмятина корпуса'),
               (3, 'MECH_CASE', 'Трещина в месте крепления'),
               (4, 'SOLDERING', 'Непропай выводов'),
               (5, 'SOLDERING', 'Перемычка припоя между выводами'),
               (6, 'SOLDERING', 'Холодная пайка'),
               (7, 'SOLDERING', 'Смещение SMD-компонента'),
               (8, 'ELECTRICAL', 'Завышенный ток потребления'),
               (9, 'ELECTRICAL', 'Выходное напряжение вне допуска'),
               (10, 'ELECTRICAL', 'Пробой изоляции'),
               (11, 'ELECTRICAL', 'Не проходит тест связи RS-485'),
               (12, 'COATING', 'Отслоение покрытия'),
               (13, 'COATING', 'Потеки и шагрень'),
               (14, 'KIT', 'Некомплект крепежа'),
               (15, 'KIT', 'Нет паспорта изделия')) AS x (n, c_type, c_description)
  JOIN qms.t_fault_type t ON t.c_sys_name = x.c_type
 ORDER BY x.n;

-- Quality-control works opened for fault codes; some are closed.
INSERT INTO qms.t_quality_control_works (id_fault_code, c_reason, d_start, d_end)
SELECT fc.id, x.c_reason, current_date - x.n_start, current_date - x.n_end
  FROM (VALUES ('SLDR-1', 'Проверка температурного профиля паяльной станции ПС-3', 70, 55),
               ('SLDR-1', 'Входной контроль паяемости выводов партии UC3843', 30, NULL),
               ('SLDR-2', 'Корректировка трафарета для пасты, плата БП-24', 40, NULL),
               ('ELEC-2', 'Анализ разброса опорного напряжения TL431', 25, NULL),
               ('MHCS-1', 'Упаковка панелей защитной пленкой при сборке', 90, 60),
               ('COAT-1', 'Контроль подготовки поверхности перед окраской', 20, NULL)) AS x (c_code, c_reason, n_start, n_end)
  JOIN qms.t_fault_code fc ON fc.c_name = x.c_code;

-- ------------------------------------------------------- contractors -----

INSERT INTO jur.t_contractor (c_name, c_inn, c_city, c_phone) VALUES
  ('ООО «Энергосервис»', '7701234567', 'Москва', '+7 (495) 222-11-00'),
  ('АО «Промавтоматика»', '7804567890', 'Санкт-Петербург', '+7 (812) 333-22-11'),
  ('ИП Соколов В.А.', '502912345678', 'Подольск', '+7 (916) 555-44-33');

INSERT INTO jur.t_deal (id_doc, id_contractor)
SELECT docs.f_doc_new('deal', NULL), id FROM jur.t_contractor ORDER BY id;

-- ----------------------------------------------------------- defects -----

-- Defects, oldest first (the document numbers follow the dates). Serial n
-- of a plan is its n-th released unit.
INSERT INTO docs.t_process_exam (d_create, id_creator, id_exam_stage, id_fault, id_plan_order,
                                 id_production_group_content, c_description, c_solution,
                                 b_reject, b_reaction, d_solution, id_solver)
SELECT localtimestamp - make_interval(days => x.n_days, hours => x.n),
       cr.id, st.id, fc.id, po.id, pgc.id, x.c_description, x.c_solution, x.b_reject, x.b_reaction,
       CASE WHEN x.c_solution <> '' THEN localtimestamp - make_interval(days => x.n_days - 3) END,
       CASE WHEN x.c_solution <> '' THEN (SELECT id FROM sys.t_user WHERE c_login = 'kuznetsova') END
  FROM (VALUES
    (1, 140, 'ivanova', 'ACCEPTANCE', 'ELEC-2', 'Партия БП-24 для ООО «Энергосервис»', 3,
     'Выходное напряжение 23,1 В при номинале 24 В ±2 %.',
     'Заменен стабилитрон, проведена повторная регулировка. Изделие годно.', false, false),
    (2, 120, 'kuznetsova', 'INTEROPERATION', 'SLDR-1', 'Партия БП-24 для ООО «Энергосервис»', 7,
     'Непропай выводов ШИМ-контроллера, обнаружен при визуальном контроле.',
     'Плата перепаяна. Введен дополнительный контроль паяемости компонентов.', false, true),
    (3, 100, 'ivanova', 'INCOMING', 'KIT-1', 'Серийный выпуск БП-24, август', 2,
     'В комплекте поставки отсутствуют винты крепления крышки.',
     'Комплект доукомплектован на складе.', false, false),
    (4, 95, 'ivanova', 'ACCEPTANCE', 'ELEC-3', 'Серийный выпуск БП-24, август', 11,
     'Пробой изоляции при испытании 1500 В между входом и корпусом.',
     'Трансформатор с дефектом межобмоточной изоляции. Изделие забраковано, трансформатор возвращен поставщику.', true, true),
    (5, 90, 'kuznetsova', 'BURN_IN', 'SLDR-2', 'Серийный выпуск БП-24, август', 15,
     'После прогона 24 ч отказ: перемычка припоя на выводах U3.', '', false, false),
    (6, 70, 'ivanova', 'INTEROPERATION', 'SLDR-4', 'Опытная партия БП-48', 2,
     'Смещение дросселя L2 относительно контактных площадок.', '', false, false),
    (7, 55, 'petrov', 'BURN_IN', 'ELEC-4', 'КМ-3 для АО «Промавтоматика»', 4,
     'Не проходит тест связи RS-485 после прогрева.',
     'Заменен приемопередатчик MAX485. Причина - партия компонентов, проведен входной контроль остатков.', false, true),
    (8, 40, 'ivanova', 'ACCEPTANCE', 'ELEC-1', 'КМ-3 для АО «Промавтоматика»', 9,
     'Ток потребления 180 мА при норме не более 150 мА.', '', false, false),
    (9, 30, 'kuznetsova', 'WARRANTY', 'ELEC-4', 'КМ-3 для АО «Промавтоматика»', 12,
     'Рекламация: контроллер теряет связь с панелью оператора.', '', false, false),
    (10, 25, 'ivanova', 'INTEROPERATION', 'COAT-1', 'Шкафы ШУ-10, заказ 118', 2,
     'Отслоение порошкового покрытия на двери шкафа.', '', false, false),
    (11, 20, 'ivanova', 'INTEROPERATION', 'MHCS-2', 'Шкафы ШУ-10, заказ 118', 4,
     'Вмятина на боковой стенке после транспортировки между участками.',
     'Стенка выправлена и перекрашена. Изготовлены транспортировочные ложементы.', false, false),
    (12, 8, 'petrov', 'INCOMING', NULL, 'Модули МВ-8 на склад', 1,
     'Царапина на лицевой панели модуля, код не определен.', '', false, false),
    (13, 3, 'ivanova', 'ACCEPTANCE', 'MHCS-1', 'Модули МВ-8 на склад', 6,
     'Царапина на лицевой панели, длина около 15 мм.', '', false, false),
    (14, 1, 'kuznetsova', 'PERIODIC', 'ELEC-2', 'Серийный выпуск БП-24, август', 20,
     'На периодических испытаниях при +55 °C выходное напряжение 24,9 В.', '', false, false)
  ) AS x (n, n_days, c_login, c_stage, c_code, c_plan, n_serial, c_description, c_solution, b_reject, b_reaction)
  JOIN sys.t_user cr ON cr.c_login = x.c_login
  JOIN qms.t_exam_stage st ON st.c_sys_name = x.c_stage
  LEFT JOIN qms.t_fault_code fc ON fc.c_name = x.c_code
  JOIN docs.t_plan_order po ON po.c_coment = x.c_plan
  JOIN LATERAL (SELECT id FROM docs.t_production_group_content
                 WHERE id_plan_order = po.id ORDER BY id OFFSET x.n_serial - 1 LIMIT 1) pgc ON true
 ORDER BY x.n;

-- The repair plan of the rejected БП-24 unit.
UPDATE docs.t_process_exam pe SET id_plan_order_repair = po.id
  FROM docs.t_plan_order po
 WHERE po.c_coment = 'Ремонт БП-24 по замечаниям ПСИ'
   AND pe.c_description LIKE 'На периодических испытаниях%';

-- Discussion.
INSERT INTO docs.t_process_exam_disc (id_process_exam, id_author, c_author, d_create, c_text)
SELECT pe.id, u.id, u.c_name, pe.d_create + make_interval(hours => x.n_hours), x.c_text
  FROM (VALUES
    ('Выходное напряжение 23,1 В%', 'ivanova', 2, 'Измерено на стенде СИ-2, повторный замер подтвердил.'),
    ('Выходное напряжение 23,1 В%', 'sidorova', 20, 'Проверьте стабилитрон VD5, в партии были отклонения.'),
    ('Выходное напряжение 23,1 В%', 'kuznetsova', 70, 'Обсуждение закрыто. Принято решение:Заменен стабилитрон, проведена повторная регулировка. Изделие годно.'),
    ('Непропай выводов%', 'kuznetsova', 1, 'Прошу технолога проверить профиль паяльной станции.'),
    ('Непропай выводов%', 'sidorova', 26, 'Температура жала занижена на 30 °C, станция отправлена в ремонт.'),
    ('Непропай выводов%', 'kuznetsova', 72, 'Обсуждение закрыто. Принято решение:Плата перепаяна. Введен дополнительный контроль паяемости компонентов.'),
    ('Пробой изоляции%', 'ivanova', 1, 'Изделие изолировано, ожидаем решения.'),
    ('Пробой изоляции%', 'kuznetsova', 50, 'Обсуждение закрыто. Принято решение:Трансформатор с дефектом межобмоточной изоляции. Изделие забраковано, трансформатор возвращен поставщику.'),
    ('После прогона 24 ч%', 'kuznetsova', 4, 'Фото платы приложено. Петров, посмотрите трафарет.'),
    ('После прогона 24 ч%', 'petrov', 30, 'Трафарет изношен в зоне U3, заказан новый.'),
    ('Не проходит тест связи%', 'petrov', 3, 'Повторяется на трех изделиях из партии.'),
    ('Ток потребления 180 мА%', 'ivanova', 2, 'Возможно, неисправен DC/DC преобразователь.'),
    ('Рекламация: контроллер%', 'kuznetsova', 5, 'Клиент прислал фото и журнал ошибок, запросила возврат изделия.'),
    ('Отслоение порошкового%', 'ivanova', 1, 'Фото приложено, отслоение по кромке двери.')
  ) AS x (c_like, c_login, n_hours, c_text)
  JOIN docs.t_process_exam pe ON pe.c_description LIKE x.c_like
  JOIN sys.t_user u ON u.c_login = x.c_login;

-- Causes: quality-control works and production works.
INSERT INTO qms.tl_quality_control_works_reject (id_process_exam, id_quality_control_works)
SELECT pe.id, q.id
  FROM docs.t_process_exam pe JOIN qms.t_quality_control_works q ON q.id_fault_code = pe.id_fault
 WHERE pe.c_description LIKE 'Непропай выводов%' OR pe.c_description LIKE 'После прогона 24 ч%';

INSERT INTO prod.tl_process_work_reject (id_process_exam, id_process_work)
SELECT pe.id, pw.id
  FROM docs.t_process_exam pe
  JOIN prod.t_process_work pw ON pw.id_plan = pe.id_plan_order
  JOIN inv.t_process_technology pt ON pt.id = pw.id_process_technology
 WHERE (pe.c_description LIKE 'После прогона 24 ч%' AND pt.c_number = 'ТП-101')
    OR (pe.c_description LIKE 'Не проходит тест связи%' AND pt.c_number = 'ТП-201')
    OR (pe.c_description LIKE 'Отслоение порошкового%' AND pt.c_number = 'ТП-302');

-- Notified users.
INSERT INTO qms.tl_reject_notification (id_process_exam, id_user)
SELECT pe.id, u.id
  FROM docs.t_process_exam pe CROSS JOIN sys.t_user u
 WHERE (u.c_login = 'petrov' AND pe.id_plan_order IN (SELECT id FROM docs.t_plan_order WHERE c_coment LIKE 'КМ-3%'))
    OR (u.c_login = 'sidorova' AND pe.id_fault IN (SELECT fc.id FROM qms.t_fault_code fc JOIN qms.t_fault_type ft ON ft.id = fc.id_type WHERE ft.c_sys_name = 'SOLDERING'))
    OR (u.c_login = 'volkov' AND pe.b_reject);

-- Customer appeals about released units.
INSERT INTO qms.t_customer_appeal (id_contractor, id_production_group_content, d_date, c_text)
SELECT c.id, pe.id_production_group_content, current_date - x.n_days, x.c_text
  FROM (VALUES ('АО «Промавтоматика»', 'Рекламация: контроллер%', 31,
                'Контроллер периодически теряет связь с панелью оператора по RS-485. Просим провести диагностику.'),
               ('АО «Промавтоматика»', 'Рекламация: контроллер%', 12,
                'Повторное обращение: сбой связи повторился после перезагрузки.'),
               ('ООО «Энергосервис»', 'Выходное напряжение 23,1 В%', 135,
                'Блок питания выдает заниженное напряжение, оборудование не запускается.')) AS x (c_contractor, c_like, n_days, c_text)
  JOIN jur.t_contractor c ON c.c_name = x.c_contractor
  JOIN docs.t_process_exam pe ON pe.c_description LIKE x.c_like;

-- Pictures, kept in the database.
INSERT INTO lrg.t_file (c_file, c_comment, n_crc, n_size, id_creator, d_create, bl_file)
SELECT x.c_file, x.c_comment, x.n_crc, length(x.bl_file), u.id, localtimestamp - interval '20 days', x.bl_file
  FROM (VALUES ('2026-09-01_12-30_photo.png', 'Перемычка припоя на выводах U3', 3480846189,
                decode('89504e470d0a1a0a0000000d49484452000000780000005008020000005df926de000000df4944415478daeddbb10d80201040518670088770121a37703027712c0b1ba389a0100a79c96f2f31af321c846119d5a08000346881060d9a0268d0020d1a3405d0a0051a346881062dd0a0fb86ded6e9e8c3b059d0a041c3020dda2c68d045b331cee740579ebdf8de035d3a9b247ecb0dba5439d31a7405e51c6bd0759493d6a04137ffe842e5676bd0a041ff12ba8af2833568d0a0418306edaf033468d0ce3a9c7580761e0dda86c5ced016dc16dcbd0e3795408386051ab459d0a0ff0ced05a0079da0051a34680aa0410b3468d01440831668d0a0051ab44083eeba1d84a12aba7a48daee0000000049454e44ae426082', 'hex')),
               ('2026-10-27_09-15_photo.png', 'Отслоение покрытия на кромке двери', 2962333396,
                decode('89504e470d0a1a0a0000000d49484452000000780000005008020000005df926de0000019f4944415478daeddc3b0e02310c84619f84fb77697697052ec0b140a241a9d7133f7e2995cba93e59e3d8b68d7d1fc731eef7719ee3f118cfe778bd06f36be7460a9ab99182666ea4a0991b2968e6460a9ab99182666ea4a0991b29e0681ccd1c47e3681c4d0a38ba97a3dfb7dbf7919abba37f41ff1ea9f93afa3febef23355f474f7193a6afa3a7b849d3d7d153dca4e9ebe8296ed2f475f4143729fbeea3a7b849d9771f3dc54dcabefb68dc2ddd47e36ee93e1a774bf7d1b85bba8feeecee05fbe89eee5ed6ebe8e6eec5bd8e3eee0ed1ebe8e0ee40bd8edaee0ed7eba8eaeea0bd8e7aee0eddeba8e4ee04bd8e1aee4ed38fceeeee64fde8bcee4ed98fcee8eec4fde85cee4edf8fcee2ee22fde8f8ee2ed58f8eecee82fde898ee2e7b6718cdddc5ef0ce3b8bbc59d61047737ba335cebee767786abdcddf4ce50efeed677864a777367287237ff7588dccd7f1d2277f35f87c8ddfcd7217237ff7588dccd7f1d2277f35f87c8dd385ae46e1c2d72378ebeccdd385ae46e1c4daf833b43d2611f4d3f9a398ea61fcd7f1da443af034733c7d1381a47930e8ece39ff00389a59762e4efa2f0000000049454e44ae426082', 'hex')),
               ('rs485_log_km3.png', 'Снимок журнала ошибок от клиента', 1259309309,
                decode('89504e470d0a1a0a0000000d49484452000000780000005008020000005df926de000000bf4944415478daedd7c10980400c44d154b2fd97e765efb6b02068c63cf915bc95c0d47af0ed7de9b05a395f36b47f0d346881060d9a0268d0ea3458e0a62ec3e877753a40831668d0a0118006ada0c102fa9f9fd3e1460b346881060d5aa00d16bb71fa32fcfc5d9d0e371ab44083068d0034680d192ca0ed46a7c38d062dd0a0051a3468192c79bbd1327ce95d9d0e371ab44083068d003468192c6d77630d59c04e076881062dd0a0410bb46568377681763a041ab44083062dd0a075dc0d23653ab01e580dff0000000049454e44ae426082', 'hex'))) AS x (c_file, c_comment, n_crc, bl_file)
  JOIN sys.t_user u ON u.c_login = 'kuznetsova';

INSERT INTO lrg.t_file_owner (id_file, c_table, n_key)
SELECT f.id, 't_process_exam', pe.id
  FROM (VALUES ('2026-09-01_12-30_photo.png', 'После прогона 24 ч%'),
               ('2026-10-27_09-15_photo.png', 'Отслоение порошкового%'),
               ('rs485_log_km3.png', 'Рекламация: контроллер%')) AS x (c_file, c_like)
  JOIN lrg.t_file f ON f.c_file = x.c_file
  JOIN docs.t_process_exam pe ON pe.c_description LIKE x.c_like;

INSERT INTO lrg.t_file_owner (id_file, c_table, n_key)
SELECT f.id, 't_customer_appeal', ca.id
  FROM lrg.t_file f JOIN qms.t_customer_appeal ca ON ca.c_text LIKE 'Контроллер периодически%'
 WHERE f.c_file = 'rs485_log_km3.png';

-- ------------------------------------------------------------- tasks -----

SELECT task.t_scheduler_insert(cr.id, ex.id, NULL, x.c_name, x.c_description, x.n_due, false, false)
  FROM (VALUES ('kuznetsova', 'petrov', 'Заменить трафарет для платы БП-24', 'ДЕФ-000005: перемычки припоя на U3', 7),
               ('kuznetsova', 'sidorova', 'Проверить температурный профиль ПС-3 после ремонта', NULL, 3)) AS x (c_creator, c_executor, c_name, c_description, n_due)
  JOIN sys.t_user cr ON cr.c_login = x.c_creator
  JOIN sys.t_user ex ON ex.c_login = x.c_executor;

-- --------------------------------------------------------- templates -----

-- The defect act: the template HTML carries {field} marks that the script
-- replaces with the defect's values (escaped for HTML), its discussion and the
-- user who prints it.
INSERT INTO docs.t_doc_template (c_type, c_name, c_description, c_html, c_script) VALUES
  ('t_process_exam', 'Акт о браке', 'Акт о выявленном дефекте изделия',
$html$<html><body style="font-size:11pt">
<h2 align="center">АКТ О БРАКЕ № {c_name}</h2>
<p align="center">от {d_create}</p>
<table border="1" cellspacing="0" cellpadding="5" width="100%">
<tr><td width="32%"><b>Изделие, версия</b></td><td>{c_version}</td></tr>
<tr><td><b>Заводской номер</b></td><td>{c_serial}</td></tr>
<tr><td><b>План производства</b></td><td>{c_plan_order}</td></tr>
<tr><td><b>Этап выявления</b></td><td>{c_exam_stage}</td></tr>
<tr><td><b>Код дефекта</b></td><td>{c_fault}</td></tr>
<tr><td><b>Состояние</b></td><td>{c_status}</td></tr>
</table>
<h3>Описание дефекта</h3>
<p>{c_description}</p>
<h3>Обсуждение</h3>
{discussion}
<h3>Решение</h3>
<p>{c_solution}</p>
<p>{c_reject}</p>
<p>&nbsp;</p>
<p>Дефект зарегистрировал: {c_creator}</p>
<p>Акт составил: {c_user} ____________________ {d_today}</p>
</body></html>$html$,
$js$function text(v) { return v === undefined || v === null ? "" : String(v); }
function esc(v) {
  return text(v).replace(/&/g, "&amp;").replace(/</g, "&lt;").replace(/>/g, "&gt;")
                .replace(/\n/g, "<br>");
}
function pad(n) { return (n < 10 ? "0" : "") + n; }
function day(d) { return pad(d.getDate()) + "." + pad(d.getMonth() + 1) + "." + d.getFullYear(); }
function moment(d) {
  if (!(d instanceof Date) || isNaN(d.getTime())) return "";
  return day(d) + " " + pad(d.getHours()) + ":" + pad(d.getMinutes());
}
var id = params.getParam("id_reason");
table.setScripts("PROC_EXAM_SELECT_ONCE");
table.setSelectParam("id", id);
if (!table.open() || table.rowCount() < 1)
  throw new Error("Дефект " + id + " не найден");
var html = params.getParam("c_html");
function put(mark, value) { html = html.split("{" + mark + "}").join(value); }
var fields = ["c_name", "c_version", "c_serial", "c_plan_order", "c_exam_stage", "c_status",
              "c_description", "c_creator"];
for (var i = 0; i < fields.length; ++i)
  put(fields[i], esc(table.getField(fields[i], 0)));
put("d_create", moment(table.getField("d_create", 0)));
var fault = text(table.getField("c_fault", 0));
var faultText = text(table.getField("c_fault_description", 0));
put("c_fault", fault == "" ? "не указан" : esc(fault) + (faultText == "" ? "" : " — " + esc(faultText)));
var solution = text(table.getField("c_solution", 0));
put("c_solution", solution == "" ? "Решение не принято." :
    esc(solution) + " (" + moment(table.getField("d_solution", 0)) + ")");
put("c_reject", table.getField("b_reject", 0) ? "<b>Изделие забраковано.</b>" : "");

auxtable.setScripts("PROC_EXAM_DISC_SELECT");
auxtable.setSelectParam("id_process_exam", id);
var discussion = "";
if (auxtable.open())
  for (var r = 0; r < auxtable.rowCount(); ++r)
    discussion += "<p><b>" + moment(auxtable.getField("d_create", r)) + ", "
                + esc(auxtable.getField("c_author", r)) + ":</b> "
                + esc(auxtable.getField("c_text", r)) + "</p>";
put("discussion", discussion == "" ? "<p>Обсуждения не было.</p>" : discussion);
put("c_user", esc(params.getParam("c_user")));
put("d_today", day(new Date()));
document.setHtml(html);
$js$);

-- ------------------------------------------------------ repair plans -----

-- Repair plans that no defect may take: one closed after its repair (its
-- items were issued first, a closed plan takes no changes), one deleted
-- before it started.
INSERT INTO docs.t_plan_order (id_doc, id_type, id_unit, c_coment, n_qnt, n_priority,
                               d_shipment_plan, d_create, b_is_del)
SELECT docs.f_doc_new('plan_order', (SELECT id FROM sys.t_user WHERE c_login = 'volkov')),
       (SELECT id FROM docs.t_plan_order_type WHERE c_name = 'Ремонтный'), u.id, x.c_coment, 1,
       500, current_date - x.n_days + 10, localtimestamp - make_interval(days => x.n_days),
       x.b_is_del
  FROM (VALUES (1, 'Цех сборки печатных плат', 'Ремонт КМ-3 по рекламации', 30, false),
               (2, 'Участок механообработки', 'Доработка кронштейнов ШУ-10 (отменен)', 25, true)
       ) AS x (n, c_unit, c_coment, n_days, b_is_del)
  JOIN prod.t_reference_units u ON u.c_name = x.c_unit
 ORDER BY x.n;

INSERT INTO docs.t_store_order_content (id_store_order, id_item_family, n_qnt_require, n_qnt_giveout)
SELECT po.id, f.id, x.n_qnt, x.n_qnt
  FROM (VALUES ('Микроконтроллер STM32F103', 1), ('Клеммник винтовой 2 конт.', 2)) AS x (c_family, n_qnt)
  JOIN dirs.t_item_family f ON f.c_name = x.c_family
  CROSS JOIN docs.t_plan_order po
 WHERE po.c_coment = 'Ремонт КМ-3 по рекламации';

UPDATE docs.t_plan_order SET id_state = 2, d_close = d_create + interval '8 days'
 WHERE c_coment = 'Ремонт КМ-3 по рекламации';
