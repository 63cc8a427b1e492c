#include "modules/registermodules.h"

#include "graph/nestedgraph.h"
#include "modules/blend/manywayblend.h"
#include "modules/blend/twowayblend.h"
#include "modules/channeltool/channeltool.h"
#include "modules/decimator/decimator.h"
#include "modules/echotaps/echotaps.h"
#include "modules/graincloud/graincloud.h"
#include "modules/hertzslider/hertzslider.h"
#include "modules/levelplacer/levelplacer.h"
#include "modules/spanfilter/spanfilter.h"
#include "modules/squeezestage/squeezestage.h"
#include "modules/transferbender/transferbender.h"
#include "modules/warmthstage/warmthstage.h"
#include "modules/wordmangler/wordmangler.h"

void RegisterModules() {
  // In catalogue order, so that a reader finds each row's class where the catalogue lists it.
  RegisterSqueezeStage();
  RegisterSpanFilter();
  RegisterEchoTaps();
  RegisterGrainCloud();
  RegisterWordMangler();
  RegisterWarmthStage();
  RegisterTransferBender();
  RegisterDecimator();
  RegisterHertzSlider();
  RegisterTwoWayBlend();
  RegisterManyWayBlend();
  RegisterChannelTool();
  RegisterLevelPlacer();
  RegisterNestedGraphs();
}
