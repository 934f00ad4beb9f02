-- Users, passwords, logins and the checks of rights. Runs after init.sql and
-- before rights.sql, which grants what each role may do.
--
-- A user's password is kept only as a SCRAM-SHA-256 verifier, the same text
-- PostgreSQL keeps for his login role: the server checks it when the
-- client connects (scram-sha-256 in pg_hba.conf), and sys.f_login_finish
-- checks it once more before the client connects, so that a wrong password
-- is refused on a trusted socket too. The password itself never travels in
-- a statement: the login is a challenge (sys.f_login_begin) answered with a
-- proof computed by the client (sys.f_login_finish).

CREATE TABLE IF NOT EXISTS sys.t_user_password (
  id_user    bigint PRIMARY KEY REFERENCES sys.t_user (id) ON DELETE CASCADE,
  c_verifier text NOT NULL
);

-- Failed logins in a row per login name, and the open challenge.
CREATE TABLE IF NOT EXISTS sys.t_login_attempt (
  c_login    text PRIMARY KEY,
  n_failures integer NOT NULL DEFAULT 0,
  d_last     timestamptz,
  c_nonce    text,
  d_nonce    timestamptz
);

-- ---------------------------------------------------------- names -----

CREATE OR REPLACE FUNCTION sys.f_user_role(p_login text) RETURNS text
LANGUAGE sql IMMUTABLE AS $$
  SELECT CASE WHEN coalesce(p_login, '') = '' THEN 'rejects_admin' ELSE 'rejects_u_' || p_login END
$$;

CREATE OR REPLACE FUNCTION sys.f_right_role(p_right text) RETURNS text
LANGUAGE sql IMMUTABLE AS $$
  SELECT 'rejects_r_' || lower(p_right)
$$;

-- The login of the session's application user; null for other roles.
CREATE OR REPLACE FUNCTION sys.f_session_login() RETURNS text
LANGUAGE sql STABLE AS $$
  SELECT CASE WHEN session_user = 'rejects_admin' THEN ''
              WHEN left(session_user, 10) = 'rejects_u_' THEN substr(session_user, 11) END
$$;

-- The id of the session's application user; null for other roles (the
-- owner, a database administrator).
CREATE OR REPLACE FUNCTION sys.f_user_id() RETURNS bigint
LANGUAGE sql STABLE AS $$
  SELECT id FROM sys.t_user WHERE c_login = sys.f_session_login()
$$;

-- ------------------------------------------------------------ rights -----

-- Whether the session may do what the right allows: its role holds the
-- right's role, or it is the administrator or the owner.
CREATE OR REPLACE FUNCTION sys.f_has_right(p_right text) RETURNS boolean
LANGUAGE plpgsql STABLE AS $$
BEGIN
  IF coalesce(p_right, '') = '' THEN
    RETURN false;
  END IF;
  IF pg_has_role(session_user, 'rejects_admin', 'MEMBER')
     OR pg_has_role(session_user, 'rejects_owner', 'MEMBER') THEN
    RETURN true;
  END IF;
  RETURN EXISTS (SELECT 1 FROM pg_roles WHERE rolname = sys.f_right_role(p_right))
         AND pg_has_role(session_user, sys.f_right_role(p_right), 'MEMBER');
END
$$;

CREATE OR REPLACE FUNCTION sys.f_require_right(p_right text) RETURNS void
LANGUAGE plpgsql STABLE AS $$
BEGIN
  IF NOT sys.f_has_right(p_right) THEN
    RAISE EXCEPTION 'Недостаточно прав: нужно право "%"',
      coalesce((SELECT c_name FROM sys.t_access_right WHERE c_sys_name = p_right), p_right)
      USING ERRCODE = 'insufficient_privilege';
  END IF;
END
$$;

CREATE OR REPLACE FUNCTION sys.f_require_admin() RETURNS void
LANGUAGE plpgsql STABLE AS $$
BEGIN
  IF NOT (pg_has_role(session_user, 'rejects_admin', 'MEMBER')
          OR pg_has_role(session_user, 'rejects_owner', 'MEMBER')) THEN
    RAISE EXCEPTION 'Пользователями и правами управляет только администратор'
      USING ERRCODE = 'insufficient_privilege';
  END IF;
END
$$;

-- The group role of a right, made when missing; the administrator holds it.
CREATE OR REPLACE FUNCTION sys.f_right_role_make(p_right text) RETURNS text
LANGUAGE plpgsql SECURITY DEFINER SET search_path = pg_catalog, pg_temp AS $$
DECLARE
  v_role text := sys.f_right_role(p_right);
BEGIN
  IF NOT EXISTS (SELECT 1 FROM pg_roles WHERE rolname = v_role) THEN
    EXECUTE format('CREATE ROLE %I NOLOGIN', v_role);
  END IF;
  IF NOT pg_has_role('rejects_admin', v_role, 'MEMBER') THEN
    EXECUTE format('GRANT %I TO rejects_admin', v_role);
  END IF;
  RETURN v_role;
END
$$;

-- ------------------------------------------------------------- SCRAM -----

CREATE OR REPLACE FUNCTION sys.f_bytes_xor(a bytea, b bytea) RETURNS bytea
LANGUAGE sql IMMUTABLE STRICT AS $$
  SELECT CASE WHEN length(a) = length(b) THEN
    (SELECT decode(string_agg(lpad(to_hex(get_byte(a, i) # get_byte(b, i)), 2, '0'), '' ORDER BY i),
                   'hex')
       FROM generate_series(0, length(a) - 1) i)
  END
$$;

-- SaltedPassword of SCRAM-SHA-256: PBKDF2-HMAC-SHA256 of the password (NFKC)
-- over the salt.
CREATE OR REPLACE FUNCTION sys.f_scram_salted(p_password text, p_salt bytea, p_iterations integer)
RETURNS bytea
LANGUAGE plpgsql IMMUTABLE STRICT SET search_path = pg_catalog, public, pg_temp AS $$
DECLARE
  v_key bytea := convert_to(normalize(p_password, NFKC), 'UTF8');
  u bytea;
  acc bit(256);
BEGIN
  u := hmac(p_salt || '\x00000001'::bytea, v_key, 'sha256');
  acc := CAST(('x' || encode(u, 'hex')) AS bit(256));
  FOR i IN 2..p_iterations LOOP
    u := hmac(u, v_key, 'sha256');
    acc := acc # CAST(('x' || encode(u, 'hex')) AS bit(256));
  END LOOP;
  RETURN (SELECT decode(string_agg(lpad(to_hex(CAST(substring(acc FROM i * 8 + 1 FOR 8) AS integer)),
                                        2, '0'), '' ORDER BY i), 'hex')
            FROM generate_series(0, 31) i);
END
$$;

-- The verifier PostgreSQL keeps for a SCRAM-SHA-256 password:
-- SCRAM-SHA-256$<iterations>:<salt>$<StoredKey>:<ServerKey>.
CREATE OR REPLACE FUNCTION sys.f_scram_verifier(p_password text) RETURNS text
LANGUAGE plpgsql VOLATILE STRICT SET search_path = pg_catalog, public, pg_temp AS $$
DECLARE
  v_salt bytea := gen_random_bytes(16);
  v_salted bytea := sys.f_scram_salted(p_password, v_salt, 4096);
BEGIN
  RETURN 'SCRAM-SHA-256$4096:' || encode(v_salt, 'base64') || '$'
         || encode(digest(hmac('Client Key', v_salted, 'sha256'), 'sha256'), 'base64') || ':'
         || encode(hmac('Server Key', v_salted, 'sha256'), 'base64');
END
$$;

-- ------------------------------------------------------------- users -----

-- Makes (or takes over) the user's login role with the verifier as its
-- password, and his rows. Not for clients: sys.f_user_create checks first.
CREATE OR REPLACE FUNCTION sys.f_user_set(p_login text, p_name text, p_verifier text)
RETURNS bigint
LANGUAGE plpgsql SECURITY DEFINER SET search_path = pg_catalog, pg_temp AS $$
DECLARE
  v_role text := sys.f_user_role(p_login);
  v_id bigint;
BEGIN
  INSERT INTO sys.t_user (c_login, c_name) VALUES (coalesce(p_login, ''), p_name) RETURNING id INTO v_id;
  INSERT INTO sys.t_user_password (id_user, c_verifier) VALUES (v_id, p_verifier);
  IF NOT EXISTS (SELECT 1 FROM pg_roles WHERE rolname = v_role) THEN
    EXECUTE format('CREATE ROLE %I NOLOGIN', v_role);
  END IF;
  EXECUTE format('ALTER ROLE %I LOGIN NOCREATEDB NOCREATEROLE PASSWORD %L',
                 v_role, p_verifier);
  EXECUTE format('GRANT rejects_user TO %I', v_role);
  RETURN v_id;
END
$$;

CREATE OR REPLACE FUNCTION sys.f_user_create(p_login text, p_name text, p_password text)
RETURNS bigint
LANGUAGE plpgsql SECURITY DEFINER SET search_path = pg_catalog, pg_temp AS $$
DECLARE
  r record;
BEGIN
  PERFORM sys.f_require_admin();
  IF coalesce(p_login, '') = '' OR p_login <> trim(p_login) THEN
    RAISE EXCEPTION 'Недопустимое имя пользователя "%"', coalesce(p_login, '')
      USING ERRCODE = 'invalid_parameter_value';
  END IF;
  IF octet_length(sys.f_user_role(p_login)) > 63 THEN
    RAISE EXCEPTION 'Имя пользователя длиннее 53 байт' USING ERRCODE = 'invalid_parameter_value';
  END IF;
  IF coalesce(p_password, '') = '' OR octet_length(p_password) > 72 THEN
    RAISE EXCEPTION 'Пароль должен быть непустым и не длиннее 72 байт'
      USING ERRCODE = 'invalid_parameter_value';
  END IF;
  IF EXISTS (SELECT 1 FROM sys.t_user WHERE c_login = p_login) THEN
    RAISE EXCEPTION 'Пользователь "%" уже есть', p_login USING ERRCODE = 'unique_violation';
  END IF;
  -- A role left by an earlier user of that name loses his rights.
  FOR r IN SELECT g.rolname FROM pg_auth_members m JOIN pg_roles g ON g.oid = m.roleid
            JOIN pg_roles u ON u.oid = m.member
           WHERE u.rolname = sys.f_user_role(p_login) AND g.rolname LIKE 'rejects\_r\_%' LOOP
    EXECUTE format('REVOKE %I FROM %I', r.rolname, sys.f_user_role(p_login));
  END LOOP;
  RETURN sys.f_user_set(p_login, coalesce(p_name, p_login), sys.f_scram_verifier(p_password));
END
$$;

CREATE OR REPLACE FUNCTION sys.f_user_right_ids(p_login text, p_right text,
                                                OUT id_user bigint, OUT id_right bigint)
LANGUAGE plpgsql STABLE AS $$
BEGIN
  PERFORM sys.f_require_admin();
  IF coalesce(p_login, '') = '' THEN
    RAISE EXCEPTION 'Встроенный администратор имеет все права'
      USING ERRCODE = 'invalid_parameter_value';
  END IF;
  SELECT u.id INTO id_user FROM sys.t_user u WHERE u.c_login = p_login;
  IF id_user IS NULL THEN
    RAISE EXCEPTION 'Пользователь "%" не найден', p_login USING ERRCODE = 'no_data_found';
  END IF;
  SELECT r.id INTO id_right FROM sys.t_access_right r WHERE r.c_sys_name = p_right;
  IF id_right IS NULL THEN
    RAISE EXCEPTION 'Право "%" не найдено', coalesce(p_right, '') USING ERRCODE = 'no_data_found';
  END IF;
END
$$;

CREATE OR REPLACE FUNCTION sys.f_user_grant(p_login text, p_right text) RETURNS void
LANGUAGE plpgsql SECURITY DEFINER SET search_path = pg_catalog, pg_temp AS $$
DECLARE
  k record := sys.f_user_right_ids(p_login, p_right);
BEGIN
  INSERT INTO sys.tl_user_access_right (id_user, id_access_right) VALUES (k.id_user, k.id_right)
  ON CONFLICT DO NOTHING;
  EXECUTE format('GRANT %I TO %I', sys.f_right_role_make(p_right), sys.f_user_role(p_login));
END
$$;

CREATE OR REPLACE FUNCTION sys.f_user_revoke(p_login text, p_right text) RETURNS void
LANGUAGE plpgsql SECURITY DEFINER SET search_path = pg_catalog, pg_temp AS $$
DECLARE
  k record := sys.f_user_right_ids(p_login, p_right);
BEGIN
  DELETE FROM sys.tl_user_access_right WHERE id_user = k.id_user AND id_access_right = k.id_right;
  EXECUTE format('REVOKE %I FROM %I', sys.f_right_role_make(p_right), sys.f_user_role(p_login));
END
$$;

-- ------------------------------------------------------------ logins -----

-- Seconds still to wait before the next login after n failures in a row,
-- the last at d_last: none for the first two, then 2, 4, 8, ... up to 15 min.
CREATE OR REPLACE FUNCTION sys.f_login_wait(p_failures integer, p_last timestamptz)
RETURNS integer
LANGUAGE sql STABLE AS $$
  SELECT CASE WHEN coalesce(p_failures, 0) < 3 OR p_last IS NULL THEN 0
              ELSE greatest(0, CAST(ceil(least(power(2, p_failures - 2), 900)
                                         - extract(epoch FROM clock_timestamp() - p_last))
                                    AS integer))
         END
$$;

-- The challenge of a login: the salt and iterations of the user's verifier
-- (made-up ones for an unknown login) and a fresh nonce; or the refusal
-- while the login has to wait after failures.
CREATE OR REPLACE FUNCTION sys.f_login_begin(p_login text)
RETURNS TABLE (c_salt text, n_iterations integer, c_nonce text, c_refusal text)
LANGUAGE plpgsql SECURITY DEFINER SET search_path = pg_catalog, public, pg_temp AS $$
DECLARE
  v_login text := coalesce(p_login, '');
  a sys.t_login_attempt;
  v_verifier text;
  v_nonce text := encode(gen_random_bytes(18), 'base64');
BEGIN
  SELECT * INTO a FROM sys.t_login_attempt t WHERE t.c_login = v_login FOR UPDATE;
  IF sys.f_login_wait(a.n_failures, a.d_last) > 0 THEN
    UPDATE sys.t_login_attempt t SET n_failures = t.n_failures + 1, d_last = clock_timestamp()
     WHERE t.c_login = v_login;
    RETURN QUERY SELECT NULL::text, NULL::integer, NULL::text,
      format('Слишком много неудачных попыток входа. Повторите через %s с.',
             sys.f_login_wait(a.n_failures + 1, clock_timestamp()));
    RETURN;
  END IF;
  SELECT p.c_verifier INTO v_verifier
    FROM sys.t_user u JOIN sys.t_user_password p ON p.id_user = u.id
   WHERE u.c_login = v_login AND u.b_active;
  INSERT INTO sys.t_login_attempt AS t (c_login, c_nonce, d_nonce)
  VALUES (v_login, v_nonce, clock_timestamp())
  ON CONFLICT ON CONSTRAINT t_login_attempt_pkey
  DO UPDATE SET c_nonce = EXCLUDED.c_nonce, d_nonce = EXCLUDED.d_nonce;
  RETURN QUERY SELECT
    coalesce(split_part(split_part(v_verifier, '$', 2), ':', 2),
             encode(substring(digest('rejects:' || v_login, 'sha256') FROM 1 FOR 16), 'base64')),
    coalesce(CAST(nullif(split_part(split_part(v_verifier, '$', 2), ':', 1), '') AS integer), 4096),
    v_nonce, NULL::text;
END
$$;

-- The answer: proof = ClientKey XOR HMAC(StoredKey, nonce), base64. Gives
-- the login role to connect as, or the refusal (failures counted).
CREATE OR REPLACE FUNCTION sys.f_login_finish(p_login text, p_proof text)
RETURNS TABLE (c_role text, c_refusal text)
LANGUAGE plpgsql SECURITY DEFINER SET search_path = pg_catalog, public, pg_temp AS $$
DECLARE
  v_login text := coalesce(p_login, '');
  a sys.t_login_attempt;
  v_verifier text;
  v_stored bytea;
  v_client bytea;
  v_wait integer;
BEGIN
  SELECT * INTO a FROM sys.t_login_attempt t WHERE t.c_login = v_login FOR UPDATE;
  UPDATE sys.t_login_attempt t SET c_nonce = NULL WHERE t.c_login = v_login;
  SELECT p.c_verifier INTO v_verifier
    FROM sys.t_user u JOIN sys.t_user_password p ON p.id_user = u.id
   WHERE u.c_login = v_login AND u.b_active;
  IF a.c_nonce IS NOT NULL AND a.d_nonce > clock_timestamp() - interval '2 minutes'
     AND sys.f_login_wait(a.n_failures, a.d_last) = 0 AND v_verifier IS NOT NULL THEN
    BEGIN
      v_stored := decode(split_part(split_part(v_verifier, '$', 3), ':', 1), 'base64');
      v_client := sys.f_bytes_xor(decode(p_proof, 'base64'),
                                  hmac(convert_to(a.c_nonce, 'UTF8'), v_stored, 'sha256'));
    EXCEPTION WHEN others THEN
      v_client := NULL;
    END;
    IF v_client IS NOT NULL AND digest(v_client, 'sha256') = v_stored THEN
      DELETE FROM sys.t_login_attempt t WHERE t.c_login = v_login;
      RETURN QUERY SELECT sys.f_user_role(v_login), NULL::text;
      RETURN;
    END IF;
  END IF;
  UPDATE sys.t_login_attempt t SET n_failures = t.n_failures + 1, d_last = clock_timestamp()
   WHERE t.c_login = v_login;
  v_wait := sys.f_login_wait(coalesce(a.n_failures, 0) + 1, clock_timestamp());
  RETURN QUERY SELECT NULL::text,
    'Неверное имя пользователя или пароль.'
    || CASE WHEN v_wait > 0 THEN format(' Следующая попытка — через %s с.', v_wait) ELSE '' END;
END
$$;

-- ---------------------------------------------------- defect rights -----

-- Who records and who decides a defect is the session's user, whatever the
-- client sends; setting, changing or clearing a solution, and removing a
-- decided defect, need the right REJECT_SOLUTION.
CREATE OR REPLACE FUNCTION docs.f_process_exam_rights() RETURNS trigger
LANGUAGE plpgsql AS $$
DECLARE
  v_user bigint := sys.f_user_id();
BEGIN
  IF TG_OP = 'DELETE' THEN
    IF OLD.c_solution <> '' THEN
      PERFORM sys.f_require_right('REJECT_SOLUTION');
    END IF;
    RETURN OLD;
  END IF;
  IF TG_OP = 'INSERT' THEN
    NEW.id_creator := coalesce(v_user, NEW.id_creator);
    IF NEW.c_solution <> '' OR NEW.b_reject OR NEW.b_reaction THEN
      PERFORM sys.f_require_right('REJECT_SOLUTION');
      NEW.id_solver := coalesce(v_user, NEW.id_solver);
    END IF;
    RETURN NEW;
  END IF;
  IF v_user IS NOT NULL THEN
    NEW.id_creator := OLD.id_creator;
  END IF;
  IF (NEW.c_solution, NEW.b_reject, NEW.b_reaction, NEW.d_solution)
     IS DISTINCT FROM (OLD.c_solution, OLD.b_reject, OLD.b_reaction, OLD.d_solution) THEN
    PERFORM sys.f_require_right('REJECT_SOLUTION');
    IF NEW.c_solution <> '' AND NEW.c_solution IS DISTINCT FROM OLD.c_solution THEN
      NEW.id_solver := coalesce(v_user, NEW.id_solver);
    END IF;
  ELSIF v_user IS NOT NULL THEN
    NEW.id_solver := OLD.id_solver;
  END IF;
  RETURN NEW;
END
$$;
DROP TRIGGER IF EXISTS t_process_exam_rights ON docs.t_process_exam;
CREATE TRIGGER t_process_exam_rights BEFORE INSERT OR UPDATE OR DELETE ON docs.t_process_exam
  FOR EACH ROW EXECUTE FUNCTION docs.f_process_exam_rights();
