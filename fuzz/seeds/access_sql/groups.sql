SELECT DISTINCTROW Count(*) AS n, Sum(Geld) / Avg(x) AS [S m], First(Name) FROM t GROUP BY Land, Left(Name, 1) HAVING Count(*) >= 2 AND Max(Datum) < Date();
