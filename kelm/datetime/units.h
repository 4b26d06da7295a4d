// Unit types that make the argument order of date and time constructors and
// operators explicit: Date(Days(5), Months(3), Years(2013)) and
// Date(Years(2013), Months(3), Days(5)) are the same date. They carry no checks.
#ifndef KELM_DATETIME_UNITS_H_
#define KELM_DATETIME_UNITS_H_

struct Days {
  Days(int n) : value(n) {}
  operator int() const { return value; }
  int value;
};

struct Months {
  Months(int n) : value(n) {}
  operator int() const { return value; }
  int value;
};

struct Years {
  Years(int n) : value(n) {}
  operator int() const { return value; }
  int value;
};

struct Hours {
  Hours(int n) : value(n) {}
  operator int() const { return value; }
  int value;
};

struct Minuts {
  Minuts(int n) : value(n) {}
  operator int() const { return value; }
  int value;
};

struct Seconds {
  Seconds(int n) : value(n) {}
  operator int() const { return value; }
  int value;
};

#endif  // KELM_DATETIME_UNITS_H_
