TRANSFORM Sum(Geld) SELECT Land FROM t GROUP BY Land PIVOT Format(Datum, 'yyyy') In ('2003','2004');
