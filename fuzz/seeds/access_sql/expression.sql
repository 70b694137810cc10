Format(DateAdd('m', 1, [Datum]), 'dd.mm.yyyy') & Switch(a = 1, 'x', True, Chr(65)) & Mid(Trim(UCase(b)), 2, Len(b) - 1)
