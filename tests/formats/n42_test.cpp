#include "broken_input.h"

namespace orb::formats {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

std::string file2012(const std::string& content) {
  return "<?xml version=\"1.0\"?>\n<RadInstrumentData xmlns=\"urn:any\">\n" + content + "\n</RadInstrumentData>\n";
}

std::string spectrum2012(const std::string& attributes, const std::string& counts) {
  return "<RadMeasurement><Spectrum " + attributes + "><ChannelData>" + counts +
         "</ChannelData></Spectrum></RadMeasurement>";
}

const std::string kFull2012 = file2012(R"(
<n:RadInstrumentInformation xmlns:n="urn:other"><n:RadInstrumentManufacturerName>Maker</n:RadInstrumentManufacturerName>
  <n:RadInstrumentModelName>Unknown</n:RadInstrumentModelName></n:RadInstrumentInformation>
<RadDetectorInformation id="d1"><RadDetectorKindCode>NaI</RadDetectorKindCode>
  <RadDetectorDescription>3x3 &amp; shield</RadDetectorDescription></RadDetectorInformation>
<EnergyCalibration id="e1"><CoefficientValues>-1.5 3e0	1E-05</CoefficientValues></EnergyCalibration>
<FWHMCalibration id="f1"><EnergyValues>100 500</EnergyValues><FWHMValues>9 20</FWHMValues></FWHMCalibration>
<RadMeasurement id="m"><Remark>Title: Two spectra</Remark><Remark>in the cellar</Remark>
  <StartDateTime>2020-01-02T03:04:05+01:00</StartDateTime><RealTimeDuration>PT1M0.5S</RealTimeDuration>
  <Spectrum id="s1" radDetectorInformationReference="d1" energyCalibrationReference="e1" FWHMCalibrationReference="f1">
    <LiveTimeDuration>PT59.25S</LiveTimeDuration>
    <ChannelData compressionCode="CountedZeroes">0 2 5 <!-- gap --> <![CDATA[ 1.5 ]]> 0 3</ChannelData></Spectrum>
  <Spectrum id="s2" energyCalibrationReference="lost"><ChannelData compressionCode="None">1 0 2</ChannelData></Spectrum>
  <GrossCounts/></RadMeasurement>)");

TEST(N42, SpectraOf2012AreReadWithWhatTheyReferTo) {
  const auto spectra = readSpectra(kFull2012, "file");
  ASSERT_EQ(spectra.size(), 2U);
  const SpectrumData& first = spectra[0];
  EXPECT_EQ(first.name, "s1");
  EXPECT_EQ(first.title, "Two spectra");
  EXPECT_EQ(first.instrument, "Maker");
  EXPECT_EQ(first.detector, "NaI, 3x3 & shield");
  EXPECT_THAT(first.remarks, ElementsAre("in the cellar"));
  EXPECT_EQ(first.start->toString(), "2020-01-02T02:04:05Z");
  EXPECT_EQ(first.live_s, 59.25);
  EXPECT_EQ(first.real_s, 60.5);
  EXPECT_THAT(first.counts, ElementsAre(0, 0, 5, 1.5, 0, 0, 0));
  EXPECT_FALSE(first.whole_counts);
  EXPECT_THAT(first.energy.coefficients, ElementsAre(-1.5, 3, 1e-5));
  EXPECT_THAT(first.fwhm.points, ElementsAre(CalibrationPoint{100, 9}, CalibrationPoint{500, 20}));
  EXPECT_EQ(first.fwhm.width, Quantity::kEnergy);
  EXPECT_TRUE(warns(first, "elements not carried: GrossCounts"));
  EXPECT_THAT(spectra[1].counts, ElementsAre(1, 0, 2));
  EXPECT_TRUE(spectra[1].energy.empty());
  EXPECT_TRUE(warns(spectra[1], "points to 'lost'"));
  EXPECT_TRUE(spectra[1].fwhm.empty());  // others refer to one, this one does not
}

TEST(N42, ASpectrumWithoutReferenceTakesTheOnlyCalibration) {
  const std::string calibration = "<EnergyCalibration><CoefficientValues>1 2</CoefficientValues></EnergyCalibration>";
  const auto one = readSpectra(file2012(calibration + spectrum2012("", "1 2")), "file");
  EXPECT_THAT(one[0].energy.coefficients, ElementsAre(1, 2));
  EXPECT_TRUE(warns(one[0], "the file's only <EnergyCalibration> is used"));
  const auto two = readSpectra(file2012(calibration + calibration + spectrum2012("", "1 2")), "file");
  EXPECT_TRUE(two[0].energy.empty());
}

TEST(N42, EnergyBoundariesBecomeAPolynomialOrPoints) {
  const auto energies = [](const char* values) {
    return readSpectra(file2012("<EnergyCalibration id=\"e\"><EnergyBoundaryValues>" + std::string(values) +
                                "</EnergyBoundaryValues></EnergyCalibration>" +
                                spectrum2012("energyCalibrationReference=\"e\"", "1 2 3 4")),
                       "file")[0]
        .energy;
  };
  ASSERT_EQ(energies("1.5 3.5 5.5 7.5 9.5").coefficients.size(), 2U);
  EXPECT_NEAR(energies("1.5 3.5 5.5 7.5").coefficients[0], 1.5, 1e-12);
  EXPECT_NEAR(energies("1.5 3.5 5.5 7.5").coefficients[1], 2, 1e-12);
  EXPECT_THAT(energies("1 2 9 10 30").points, ElementsAre(CalibrationPoint{0, 1}, CalibrationPoint{1, 2},
                                                          CalibrationPoint{2, 9}, CalibrationPoint{3, 10}));
}

const std::string kFull2006 = R"(<N42InstrumentData xmlns:q="urn:q">
<Calibration ID="cal" Type="Energy" EnergyUnits="MeV"><ArrayXY><PointXY><X>0</X><Y>0.01</Y></PointXY><PointXY>9 0.1</PointXY></ArrayXY></Calibration>
<Measurement><InstrumentInformation><Manufacturer>Maker</Manufacturer><InstrumentModel>M1</InstrumentModel></InstrumentInformation>
<DetectorData><StartTime>2010-01-24T00:08:44.078Z</StartTime><SampleRealTime>PT0.250S</SampleRealTime>
<q:Spectrum Detector="A1" SampleNumber="7"><RealTime>PT0.240S</RealTime><LiveTime>PT0.180S</LiveTime><DetectorType>HPGe</DetectorType>
<Calibration Type="Energy" EnergyUnits="keV"><Equation Model="Polynomial"><Coefficients>0.5 0.25</Coefficients></Equation></Calibration>
<Calibration Type="FWHM" FWHMUnits="Channels"><Equation Model="Polynomial"><Coefficients>6 0.001</Coefficients></Equation></Calibration>
<ChannelData Compression="CountedZeroes">7 0 4</ChannelData></q:Spectrum>
<Spectrum Detector="A2" CalibrationIDs="none cal"><LiveTime>PT0.2S</LiveTime><ChannelData>1 2</ChannelData></Spectrum>
</DetectorData></Measurement></N42InstrumentData>)";

TEST(N42, SpectraOf2006AreReadWithTheirOwnCalibrations) {
  const auto spectra = readSpectra(kFull2006, "file");
  ASSERT_EQ(spectra.size(), 2U);
  EXPECT_EQ(spectra[0].name, "A1, sample 7");
  EXPECT_EQ(spectra[0].detector, "HPGe");
  EXPECT_EQ(spectra[0].instrument, "Maker M1");
  EXPECT_EQ(spectra[0].start->toString(), "2010-01-24T00:08:44.078Z");
  EXPECT_EQ(spectra[0].live_s, 0.18);
  EXPECT_EQ(spectra[0].real_s, 0.24);
  EXPECT_THAT(spectra[0].counts, ElementsAre(7, 0, 0, 0, 0));
  EXPECT_THAT(spectra[0].energy.coefficients, ElementsAre(0.5, 0.25));
  EXPECT_THAT(spectra[0].fwhm.coefficients, ElementsAre(6, 0.001));
  EXPECT_EQ(spectra[0].fwhm.width, Quantity::kChannel);
  EXPECT_EQ(spectra[1].name, "A2");
  EXPECT_EQ(spectra[1].real_s, 0.25);
  EXPECT_THAT(spectra[1].energy.points, ElementsAre(CalibrationPoint{0, 10}, CalibrationPoint{9, 100}));
  EXPECT_TRUE(warns(spectra[1], "converted from MeV to keV"));
}

TEST(N42, EntitiesOfTheDocumentAreNotResolved) {
  const std::string text =
      "<?xml version=\"1.0\"?>\n<!DOCTYPE x [<!ENTITY e SYSTEM \"file:///etc/hostname\"><!ENTITY n \"5\">]>\n"
      "<x><Remark>&e;</Remark><Spectrum><Remark>Title: &e;</Remark><ChannelData>1</ChannelData></Spectrum></x>";
  EXPECT_EQ(readSpectra(text, "file")[0].title, "&e;");
  expectRefused({"entity as a count",
                 text.substr(0, text.find("<x>")) + "<x><Spectrum><ChannelData>1 &n;</ChannelData></Spectrum></x>", 3,
                 "'&n;' is no count"});
}

TEST(N42, WideTextIsRead) {
  const auto wide = [](const std::string& narrow) {
    std::string text = "\xFF\xFE";
    for (const char c : narrow) (text += c) += '\0';
    return text;
  };
  EXPECT_THAT(readSpectra(wide(file2012(spectrum2012("", "1 2"))), "file")[0].counts, ElementsAre(1, 2));
  expectRefused(
      {"no line is known", wide(file2012(spectrum2012("", "1 2 x"))), 0, "element <ChannelData>: 'x' is no count"});
}

TEST(N42, BrokenTextsAreRefusedWithLineAndElement) {
  const auto counts = [](const std::string& text, const char* attributes = "") {
    return file2012("<RadMeasurement>\n<Spectrum>\n<ChannelData " + std::string(attributes) + ">" + text +
                    "</ChannelData></Spectrum></RadMeasurement>");
  };
  const char* const zeroes = "compressionCode=\"CountedZeroes\"";
  const auto calibrated = [](const std::string& calibration) {
    return file2012("<EnergyCalibration id=\"e\">\n" + calibration + "</EnergyCalibration>" +
                    spectrum2012("energyCalibrationReference=\"e\"", "1 2"));
  };
  std::string deep;
  for (int i = 0; i < 100; ++i) deep += "<a>";
  std::string undeep;
  for (int i = 0; i < 100; ++i) undeep += "</a>";
  const BrokenInput broken[] = {
      {"cut", "<a>\n<b>", 2, "broken XML"},
      {"mismatch", "<a>\n</b>\n", 2, "broken XML"},
      {"no spectrum", "<a>\n<b/></a>", 1, "there is no <Spectrum> with <ChannelData>"},
      {"no counts", counts(" "), 5, "element <ChannelData>: there are no counts"},
      {"text", counts("1 2\n3 four"), 6, "'four' is no count"},
      {"text after CR LF", counts("1 2\r\n3\r\n4 five"), 7, "'five' is no count"},
      {"negative", counts("1 -2"), 5, "count -2 is negative"},
      {"NaN", counts("1 nan"), 5, "(NaN)"},
      {"unknown compression", counts("1", "compressionCode=\"zip\""), 5, "'zip' is not known"},
      {"run without length", counts("1 0", zeroes), 5, "has no length"},
      {"run of none", counts("1 0 0 2", zeroes), 5, "a run of zeros has the length 0"},
      {"run of 1.5", counts("0 1.5", zeroes), 5, "has the length 1.5"},
      {"bomb", counts("0 16777216 1", zeroes), 5, "more than 16777216 channels"},
      {"endless bomb", counts("0 1e300 0 1e308 0 1e308", zeroes), 5, "more than 16777216 channels"},
      {"deep", deep + undeep, 1, "nested too deeply"},
      {"coefficients", calibrated("<CoefficientValues>1 b</CoefficientValues>"), 4,
       "element <CoefficientValues>: 'b' is not a number"},
      {"boundaries", calibrated("<EnergyBoundaryValues>1</EnergyBoundaryValues>"), 4, "1 energies for 2 channels"},
      {"falling", calibrated("<EnergyBoundaryValues>3 1 5</EnergyBoundaryValues>"), 4, "do not rise after 3"},
      {"duration",
       file2012("<Spectrum>\n<LiveTimeDuration>long</LiveTimeDuration><ChannelData>1</ChannelData></Spectrum>"), 4,
       "element <LiveTimeDuration>: 'long' is no duration"},
  };
  for (const BrokenInput& input : broken) expectRefused(input);
}

TEST(N42, AFileOfSeveralSpectraReadsBackTheSame) {
  for (const std::string& text : {kFull2012, kFull2006}) {
    auto spectra = readSpectra(text, "file");
    spectra[0].title = "a < b & \"c\"";
    const auto again = readSpectra(writeN42(spectra).text, "again");
    ASSERT_EQ(again.size(), spectra.size());
    for (std::size_t i = 0; i < spectra.size(); ++i) {
      EXPECT_EQ(again[i].name, spectra[i].name);
      EXPECT_EQ(again[i].title, spectra[i].title);
      EXPECT_EQ(again[i].counts, spectra[i].counts);
      EXPECT_EQ(again[i].energy.coefficients, spectra[i].energy.coefficients);
      EXPECT_EQ(again[i].fwhm, spectra[i].fwhm);
    }
  }
}

TEST(N42, PointsThatAreNoAxisAreNamedAsLost) {
  const auto spectra = readSpectra(kFull2006, "file");
  EXPECT_THAT(writeN42(spectra).not_carried, ElementsAre(HasSubstr("A2: energy calibration by points")));
}

}  // namespace
}  // namespace orb::formats
