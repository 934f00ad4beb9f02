-- Adds N further defects to a loaded demo register, spread like a real
-- plant's: over the last three years, over stages, fault codes, products
-- and plans, most older defects decided (some rejected, some needing
-- preventive actions), with discussion. Set-based, so that 100 000 defects
-- load in seconds:
--   psql -v n=100000 -f db/generate.sql
-- It also tops the stock catalogue up to :families item families in :types
-- item types (20 000 and 2 000 unless given).
\if :{?n}
\else
\set n 1000
\endif
\if :{?families}
\else
\set families 20000
\endif
\if :{?types}
\else
\set types 2000
\endif
\set ON_ERROR_STOP on
\timing on

BEGIN;
SELECT setseed(0.42);

-- Every key below is taken from rows that exist, so a superuser loads
-- without the per-row foreign-key checks (replica mode lasts until COMMIT);
-- the keys are verified set-wise at the end instead.
SELECT rolsuper AS gen_superuser FROM pg_roles WHERE rolname = current_user \gset
\if :gen_superuser
SET LOCAL session_replication_role = replica;
\endif

-- More production plans with released units: one plan of 50 units per 50
-- defects, on the versions the units make, over the last three years.
CREATE TEMP TABLE gen_plan ON COMMIT DROP AS
SELECT nextval('docs.t_plan_order_id_seq') AS id, nextval('docs.t_doc_id_seq') AS id_doc,
       nextval('docs.t_doc_id_seq') AS id_doc_group, l.id_unit, l.id_product_version,
       localtimestamp - make_interval(days => 20 + CAST(random() * 1080 AS integer)) AS d_create
  FROM generate_series(1, greatest(10, :n / 50)) AS g
  CROSS JOIN LATERAL (SELECT id_unit, id_product_version FROM prod.tl_unit_product_version
                       WHERE g > 0 ORDER BY random() LIMIT 1) l;

INSERT INTO docs.t_doc (id, c_name, c_doc_type, d_create, id_creator)
SELECT p.id_doc, 'ПЛ-' || lpad(CAST(nextval('docs.s_plan_order_number') AS text), 5, '0'),
       'plan_order', p.d_create, (SELECT id FROM sys.t_user WHERE c_login = 'volkov')
  FROM gen_plan p ORDER BY p.d_create;
INSERT INTO docs.t_doc (id, c_name, c_doc_type, d_create)
SELECT p.id_doc_group, 'ГП-' || p.id, 'production_group', p.d_create FROM gen_plan p;

INSERT INTO docs.t_plan_order (id, id_doc, id_type, id_state, id_unit, id_prod_ver, c_coment, n_qnt,
                               n_priority, d_shipment_plan, d_create, d_close)
SELECT p.id, p.id_doc, (SELECT id FROM docs.t_plan_order_type WHERE c_name = 'Производственный'),
       CASE WHEN p.d_create < localtimestamp - interval '60 days' THEN 2 ELSE 3 END,
       p.id_unit, p.id_product_version,
       'Серийный выпуск ' || inv.c_full_version_name(p.id_product_version), 50,
       100 + CAST(random() * 800 AS integer), CAST(p.d_create AS date) + 30, p.d_create,
       CASE WHEN p.d_create < localtimestamp - interval '60 days' THEN p.d_create + interval '45 days' END
  FROM gen_plan p;

INSERT INTO docs.t_production_group (id_doc, id_plan_order)
SELECT p.id_doc_group, p.id FROM gen_plan p;

INSERT INTO docs.t_production_group_content (id_production_group, id_plan_order, c_serial)
SELECT g.id, p.id,
       replace(substring(pr.c_name FROM '[^ ]+$'), '-', '') || '-' || to_char(p.d_create, 'YYMM')
         || '-' || p.id || '-' || to_char(s, 'FM000')
  FROM gen_plan p
  JOIN docs.t_production_group g ON g.id_plan_order = p.id
  JOIN inv.t_product_version v ON v.id = p.id_product_version
  JOIN inv.t_product pr ON pr.id = v.id_product
  CROSS JOIN generate_series(1, 50) AS s;

-- The defects: every attribute is drawn per row first, then documents and
-- defects are copied in one statement each.
CREATE TEMP TABLE gen_stage ON COMMIT DROP AS
SELECT s.id, x.lo, x.hi
  FROM (VALUES ('INTEROPERATION', 0.00, 0.35), ('ACCEPTANCE', 0.35, 0.60),
               ('INCOMING', 0.60, 0.75), ('BURN_IN', 0.75, 0.87), ('PERIODIC', 0.87, 0.92),
               ('WARRANTY', 0.92, 1.01)) AS x (c_sys_name, lo, hi)
  JOIN qms.t_exam_stage s ON s.c_sys_name = x.c_sys_name;

-- Fault codes, numbered from 0; low numbers (the first types) come up more often.
CREATE TEMP TABLE gen_code ON COMMIT DROP AS
SELECT id, c_description, row_number() OVER (ORDER BY id) - 1 AS n FROM qms.t_fault_code;
CREATE UNIQUE INDEX ON gen_code (n);

CREATE TEMP TABLE gen_user ON COMMIT DROP AS
SELECT u.id, u.c_name, x.n
  FROM (VALUES (0, 'ivanova'), (1, 'ivanova'), (2, 'kuznetsova'), (3, 'petrov')) AS x (n, c_login)
  JOIN sys.t_user u ON u.c_login = x.c_login;

-- Serial numbers of the new plans, numbered from 0 within each plan.
CREATE TEMP TABLE gen_serial ON COMMIT DROP AS
SELECT pgc.id, pgc.id_plan_order,
       row_number() OVER (PARTITION BY pgc.id_plan_order ORDER BY pgc.id) - 1 AS n
  FROM docs.t_production_group_content pgc JOIN gen_plan p ON p.id = pgc.id_plan_order;
CREATE UNIQUE INDEX ON gen_serial (id_plan_order, n);
CREATE UNIQUE INDEX ON gen_plan (id);
ANALYZE gen_plan;
ANALYZE gen_serial;

CREATE TEMP TABLE gen_exam ON COMMIT DROP AS
WITH base AS (
  SELECT g, random() AS r_stage, random() AS r_fault, random() AS r_decide, random() AS r_kind,
         random() AS r_text, random() AS r_user, CAST(random() * 49 AS integer) AS n_serial,
         (SELECT min(id) FROM gen_plan) + g % (SELECT count(*) FROM gen_plan) AS id_plan
    FROM generate_series(1, :n) AS g
), drawn AS (
  SELECT b.*, p.id_product_version, p.d_create
           + make_interval(days => 2 + CAST(b.r_text * 40 AS integer),
                           mins => CAST(b.r_user * 600 AS integer)) AS d_create,
         CASE WHEN b.r_fault < 0.05 THEN NULL
              ELSE CAST(floor(power(b.r_fault, 1.6) * (SELECT count(*) FROM gen_code)) AS integer) END AS n_code
    FROM base b JOIN gen_plan p ON p.id = b.id_plan
)
SELECT nextval('docs.t_process_exam_id_seq') AS id, nextval('docs.t_doc_id_seq') AS id_doc,
       d.d_create, u.id AS id_creator, u.c_name AS c_creator, st.id AS id_exam_stage,
       c.id AS id_fault, d.id_plan AS id_plan_order, d.id_product_version,
       gs.id AS id_production_group_content,
       coalesce(c.c_description, 'Дефект')
         || (ARRAY['. Обнаружено при визуальном осмотре.', '. Подтверждено повторной проверкой.',
                   ', выявлено на стенде.', '. Изделие изолировано до решения.',
                   ', замечание ОТК.', '. Требуется анализ причины.'])[1 + CAST(floor(d.r_text * 6) AS integer)]
         AS c_description,
       d.r_decide < CASE WHEN d.d_create < localtimestamp - interval '30 days' THEN 0.92 ELSE 0.35 END
         AS b_decided,
       d.r_kind, d.r_text, d.r_user
  FROM drawn d
  JOIN gen_user u ON u.n = CAST(floor(d.r_user * 4) AS integer)
  JOIN gen_stage st ON d.r_stage >= st.lo AND d.r_stage < st.hi
  LEFT JOIN gen_code c ON c.n = d.n_code
  JOIN gen_serial gs ON gs.id_plan_order = d.id_plan AND gs.n = d.n_serial;

INSERT INTO docs.t_doc (id, c_name, c_doc_type, d_create, id_creator)
SELECT e.id_doc, 'ДЕФ-' || lpad(CAST(nextval('docs.s_process_exam_number') AS text), 6, '0'),
       'process_exam', e.d_create, e.id_creator
  FROM gen_exam e ORDER BY e.d_create;

-- The row trigger would only derive what is drawn here already (document,
-- product version, decision stamp).
ALTER TABLE docs.t_process_exam DISABLE TRIGGER t_process_exam_before;
INSERT INTO docs.t_process_exam (id, id_doc, d_create, id_creator, id_exam_stage, id_fault,
                                 id_plan_order, id_product_version, id_production_group_content,
                                 c_description, c_solution, b_reject, b_reaction, d_solution,
                                 id_solver)
SELECT e.id, e.id_doc, e.d_create, e.id_creator, e.id_exam_stage, e.id_fault, e.id_plan_order,
       e.id_product_version, e.id_production_group_content, e.c_description,
       CASE WHEN e.b_decided
            THEN (ARRAY['Дефект устранен, изделие годно.', 'Выполнена доработка по извещению, повторные испытания пройдены.',
                        'Компонент заменен, проведена повторная регулировка.', 'Изделие забраковано, направлено на разборку.',
                        'Причина - партия комплектующих, проведен входной контроль остатков.',
                        'Дефект не подтвердился при повторной проверке.'])[1 + CAST(floor(e.r_kind * 6) AS integer)]
            ELSE '' END,
       e.b_decided AND e.r_kind >= 0.5 AND e.r_kind < 0.6667,
       e.b_decided AND ((e.r_kind >= 0.6667 AND e.r_kind < 0.8333) OR e.r_kind < 0.1),
       CASE WHEN e.b_decided THEN e.d_create + make_interval(days => 1 + CAST(e.r_text * 10 AS integer)) END,
       CASE WHEN e.b_decided THEN (SELECT id FROM sys.t_user WHERE c_login = 'kuznetsova') END
  FROM gen_exam e;
ALTER TABLE docs.t_process_exam ENABLE TRIGGER t_process_exam_before;

-- Discussion: about half the defects have a remark, decided ones the closing entry.
INSERT INTO docs.t_process_exam_disc (id_process_exam, id_author, c_author, d_create, c_text)
SELECT e.id, e.id_creator, e.c_creator, e.d_create + interval '3 hours',
       (ARRAY['Прошу технолога проверить режимы.', 'Фото приложено.', 'Повторяется на нескольких изделиях партии.',
              'Изделие передано на анализ.'])[1 + CAST(floor(e.r_text * 4) AS integer)]
  FROM gen_exam e
 WHERE e.r_user < 0.5
UNION ALL
SELECT pe.id, pe.id_solver, u.c_name, pe.d_solution, 'Обсуждение закрыто. Принято решение:' || pe.c_solution
  FROM gen_exam e JOIN docs.t_process_exam pe ON pe.id = e.id
  JOIN sys.t_user u ON u.id = pe.id_solver
 WHERE e.b_decided;

-- The stock catalogue, topped up to :types item types (three levels: a
-- twentieth roots, a fifth under them, the rest under those) and :families
-- item families on the lower levels, each with its stock in one store. A
-- second run adds only what is missing.
CREATE TEMP TABLE gen_type ON COMMIT DROP AS
SELECT g, nextval('dirs.t_item_type_id_seq') AS id
  FROM generate_series(1, greatest(0, :types - (SELECT count(*) FROM dirs.t_item_type))) AS g;
CREATE UNIQUE INDEX ON gen_type (g);

INSERT INTO dirs.t_item_type (id, id_parent, c_name)
SELECT t.id,
       CASE WHEN t.g <= c.n_root THEN NULL
            WHEN t.g <= c.n_mid THEN (SELECT p.id FROM gen_type p WHERE p.g = 1 + t.g % c.n_root)
            ELSE (SELECT p.id FROM gen_type p WHERE p.g = c.n_root + 1 + t.g % (c.n_mid - c.n_root))
       END,
       (ARRAY['Резисторы', 'Конденсаторы', 'Микросхемы', 'Разъемы', 'Крепеж', 'Провода',
              'Трансформаторы', 'Реле', 'Предохранители', 'Диоды', 'Транзисторы', 'Платы'])
         [1 + t.g % 12] || ' ' || (ARRAY['группа', 'серия', 'исполнение'])
         [CASE WHEN t.g <= c.n_root THEN 1 WHEN t.g <= c.n_mid THEN 2 ELSE 3 END] || ' ' || t.g
  FROM gen_type t
 CROSS JOIN (SELECT greatest(1, count(*) / 20) AS n_root, greatest(2, count(*) / 4) AS n_mid
               FROM gen_type) c
 ORDER BY t.g;

CREATE TEMP TABLE gen_family ON COMMIT DROP AS
SELECT g, nextval('dirs.t_item_family_id_seq') AS id, random() AS r
  FROM generate_series(1, greatest(0, :families - (SELECT count(*) FROM dirs.t_item_family))) AS g;

CREATE TEMP TABLE gen_leaf_type ON COMMIT DROP AS
SELECT row_number() OVER (ORDER BY t.id) - 1 AS n, t.id
  FROM dirs.t_item_type t WHERE t.id_parent IS NOT NULL;
CREATE UNIQUE INDEX ON gen_leaf_type (n);
ANALYZE gen_leaf_type;

INSERT INTO dirs.t_item_family (id, id_type, id_meas_unit, c_name, c_part_num)
SELECT f.id, lt.id, m.id,
       (ARRAY['Резистор', 'Конденсатор', 'Микросхема', 'Вилка', 'Винт', 'Провод', 'Дроссель',
              'Реле', 'Вставка плавкая', 'Диод', 'Транзистор', 'Плата'])[1 + f.g % 12]
         || ' ' || (ARRAY['0402', '0603', '0805', '1206', 'SOT-23', 'SOIC-8', 'М3', 'М4'])[1 + f.g % 8]
         || ' ' || CAST(10 + (f.g * 7919) % 99990 AS text) || ' ТУ-' || f.g,
       'ПН-' || to_char(f.g, 'FM000000')
  FROM gen_family f
  JOIN gen_leaf_type lt ON lt.n = f.g % (SELECT count(*) FROM gen_leaf_type)
  JOIN dirs.t_meas_unit m ON m.c_short_name = CASE WHEN f.r < 0.85 THEN 'шт.'
                                                   WHEN f.r < 0.95 THEN 'м' ELSE 'кг' END;

INSERT INTO dirs.t_item_family_store (id_store, id_item_family, n_qty)
SELECT (SELECT id FROM dirs.t_store ORDER BY id LIMIT 1), f.id, round(CAST(f.r * 5000 AS numeric), 3)
  FROM gen_family f;

-- Verify what the skipped checks would have refused.
DO $$
BEGIN
  IF EXISTS (SELECT 1 FROM docs.t_process_exam pe
               LEFT JOIN docs.t_doc d ON d.id = pe.id_doc
               LEFT JOIN qms.t_exam_stage st ON st.id = pe.id_exam_stage
               LEFT JOIN sys.t_user u ON u.id = pe.id_creator
               LEFT JOIN docs.t_plan_order po ON po.id = pe.id_plan_order
               LEFT JOIN docs.t_production_group_content pgc ON pgc.id = pe.id_production_group_content
               LEFT JOIN qms.t_fault_code fc ON fc.id = pe.id_fault
              WHERE d.id IS NULL OR st.id IS NULL OR u.id IS NULL
                 OR (pe.id_plan_order IS NOT NULL AND po.id IS NULL)
                 OR (pe.id_production_group_content IS NOT NULL AND pgc.id IS NULL)
                 OR (pe.id_fault IS NOT NULL AND fc.id IS NULL))
     OR EXISTS (SELECT 1 FROM docs.t_process_exam_disc x
                  LEFT JOIN docs.t_process_exam pe ON pe.id = x.id_process_exam WHERE pe.id IS NULL)
     OR EXISTS (SELECT 1 FROM docs.t_production_group_content x
                  LEFT JOIN docs.t_plan_order po ON po.id = x.id_plan_order WHERE po.id IS NULL)
     OR EXISTS (SELECT 1 FROM dirs.t_item_type x
                  LEFT JOIN dirs.t_item_type p ON p.id = x.id_parent
                 WHERE x.id_parent IS NOT NULL AND p.id IS NULL)
     OR EXISTS (SELECT 1 FROM dirs.t_item_family x
                  LEFT JOIN dirs.t_item_type t ON t.id = x.id_type WHERE t.id IS NULL) THEN
    RAISE EXCEPTION 'generated rows refer to missing keys';
  END IF;
END
$$;

COMMIT;
ANALYZE;
SELECT count(*) AS defects, count(*) FILTER (WHERE c_solution = '') AS open_defects,
       count(*) FILTER (WHERE b_reject) AS rejected
  FROM docs.t_process_exam;
