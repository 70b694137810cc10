PARAMETERS [Welcher Ort?] Text(255), n Long; SELECT t.* FROM t WHERE t.Ort = [Welcher Ort?] OR t.x IS NOT NULL XOR t.y EQV True AND -t.z \ 2 MOD 3 ^ 4 <> &HFF;
