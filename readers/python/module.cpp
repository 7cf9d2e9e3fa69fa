// The part of the Python package that is not Python: the C interface of the readers as one class.
// Columns are not copied: arrays are views of a block, which lives as long as one of them.

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <memory>
#include <new>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "tavrin_reader.h"

namespace py = pybind11;

namespace {

class Error : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Bytes that are not UTF-8 become surrogates, as in Python's names of files.
py::str textOf(const tavrin_text& text) {
  PyObject* const decoded =
      PyUnicode_DecodeUTF8(text.data, static_cast<py::ssize_t>(text.length), "surrogateescape");
  if (decoded == nullptr) throw py::error_already_set();
  return py::reinterpret_steal<py::str>(decoded);
}

py::object indexOf(std::uint32_t index) {
  return index == TAVRIN_NONE ? py::object(py::none()) : py::object(py::int_(index));
}

class Reader {
 public:
  explicit Reader(const std::vector<std::string>& files) {
    std::vector<const char*> names;
    names.reserve(files.size());
    for (const std::string& file : files) names.push_back(file.c_str());
    tavrin_reader* opened = nullptr;
    const tavrin_status status = tavrin_open(names.data(), names.size(), &opened);
    reader_.reset(opened);
    check(status);
  }

  /// None behind the last point.
  std::optional<py::tuple> next() {
    tavrin_point point;
    const tavrin_status status = tavrin_next(reader_.get(), &point);
    if (status == TAVRIN_END) return std::nullopt;
    check(status);
    return py::make_tuple(point.time, point.duration, point.series, point.value,
                          indexOf(point.text));
  }

  std::optional<py::dict> readBlock(std::size_t most) {
    tavrin_block* read = nullptr;
    tavrin_status status = TAVRIN_OK;
    {
      const py::gil_scoped_release others;
      status = tavrin_read_block(reader_.get(), most, &read);
    }
    if (status == TAVRIN_END) return std::nullopt;
    check(status);
    const py::capsule owner(
        read, [](void* block) { tavrin_block_free(static_cast<tavrin_block*>(block)); });
    const auto size = static_cast<py::ssize_t>(tavrin_block_size(read));
    py::dict columns;
    columns["time"] = py::array_t<std::uint64_t>(size, tavrin_block_times(read), owner);
    columns["duration"] = py::array_t<double>(size, tavrin_block_durations(read), owner);
    columns["series"] = py::array_t<std::uint32_t>(size, tavrin_block_series(read), owner);
    columns["value"] = py::array_t<double>(size, tavrin_block_values(read), owner);
    columns["text"] = py::array_t<std::uint32_t>(size, tavrin_block_texts(read), owner);
    return columns;
  }

  int format() const {
    tavrin_format format = TAVRIN_BINARY_STREAM;
    check(tavrin_get_format(reader_.get(), &format));
    return static_cast<int>(format);
  }

  py::tuple clock() const {
    tavrin_clock clock;
    check(tavrin_get_clock(reader_.get(), &clock));
    return py::make_tuple(clock.in_microseconds != 0, clock.mhz, clock.start, clock.stop,
                          clock.duration_sec, clock.start_ns);
  }

  py::list facts() {
    std::size_t count = 0;
    check(tavrin_gather_facts(reader_.get(), &count));
    py::list facts;
    for (std::size_t i = 0; i < count; ++i) {
      tavrin_text name;
      tavrin_text value;
      check(tavrin_get_fact(reader_.get(), i, &name, &value));
      facts.append(py::make_tuple(textOf(name), textOf(value)));
    }
    return facts;
  }

  // Of each list what is behind the first `known` elements.

  py::list metrics(std::size_t known) const {
    py::list list;
    for (std::size_t i = known; i < tavrin_metric_count(reader_.get()); ++i) {
      tavrin_metric metric;
      check(tavrin_get_metric(reader_.get(), i, &metric));
      list.append(py::make_tuple(textOf(metric.name), textOf(metric.feature),
                                 static_cast<int>(metric.kind), textOf(metric.quantity),
                                 textOf(metric.units), metric.number, states(i, metric.states)));
    }
    return list;
  }

  py::list entities(std::size_t known) const {
    py::list list;
    for (std::size_t i = known; i < tavrin_entity_count(reader_.get()); ++i) {
      tavrin_entity entity;
      check(tavrin_get_entity(reader_.get(), i, &entity));
      list.append(textOf(entity.qualified_name));
    }
    return list;
  }

  py::list series(std::size_t known) const {
    py::list list;
    for (std::size_t i = known; i < tavrin_series_count(reader_.get()); ++i) {
      tavrin_series series;
      check(tavrin_get_series(reader_.get(), i, &series));
      list.append(py::make_tuple(series.metric, indexOf(series.entity), textOf(series.descriptor)));
    }
    return list;
  }

  py::list texts(std::size_t known) const {
    py::list list;
    for (std::size_t i = known; i < tavrin_text_count(reader_.get()); ++i) {
      tavrin_text text;
      check(tavrin_get_text(reader_.get(), i, &text));
      list.append(textOf(text));
    }
    return list;
  }

 private:
  struct Close {
    void operator()(tavrin_reader* reader) const { tavrin_close(reader); }
  };

  void check(tavrin_status status) const {
    if (status == TAVRIN_NO_MEMORY) throw std::bad_alloc();
    if (status == TAVRIN_FAULT) throw Error(tavrin_error(reader_.get()));
    if (status != TAVRIN_OK) throw std::logic_error("misuse of the reader");
  }

  py::tuple states(std::size_t metric, std::size_t count) const {
    py::list list;
    for (std::size_t i = 0; i < count; ++i) {
      tavrin_text state;
      check(tavrin_get_state(reader_.get(), metric, i, &state));
      list.append(textOf(state));
    }
    return py::tuple(list);
  }

  std::unique_ptr<tavrin_reader, Close> reader_;
};

}  // namespace

PYBIND11_MODULE(_reader, module) {
  module.doc() = "What libtavrin_reader offers; use the package around it.";
  py::register_exception<Error>(module, "Error", PyExc_OSError);
  py::class_<Reader>(module, "Reader")
      .def(py::init<const std::vector<std::string>&>())
      .def("next", &Reader::next)
      .def("read_block", &Reader::readBlock)
      .def("format", &Reader::format)
      .def("clock", &Reader::clock)
      .def("facts", &Reader::facts)
      .def("metrics", &Reader::metrics)
      .def("entities", &Reader::entities)
      .def("series", &Reader::series)
      .def("texts", &Reader::texts);
}
